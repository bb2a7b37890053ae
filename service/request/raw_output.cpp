// SPDX-License-Identifier: Apache-2.0
#include "service/request/raw_output.h"

#include <algorithm>

#include "control/statuses.h"
#include "service/joblog/joblog.h"
#include "service/request/answer.h"
#include "service/request/gone_outcomes.h"
#include "service/request/payload.h"
#include "service/request/waiting_text.h"
#include "service/run/run_record.h"
#include "service/state/schedule_state.h"

namespace service {
namespace {

std::string line_before(const LogRecord &record) {
  return "===== run " + std::to_string(record.run) + ", schedule " + record.schedule + ", job " + record.job +
         ", user " + record.user + ", exit code " + std::to_string(record.wait_status >> 8 & 0xff) + ", ended " +
         time_text(record.completion) + " =====\n";
}

// Produces the reply piece by piece, as the client receives it.
class RawStream {
 public:
  RawStream(LogReader reader, uint64_t run) : reader_(std::move(reader)), run_(run) { read_on(); }

  bool is_empty() const { return !found_; }

  std::optional<host::Bytes> next() {
    if (text_.size() == 0 && !read_on()) return std::nullopt;
    return text_.take_piece();
  }

 private:
  // Goes to the next record that has text; false at the end. A record without output also counts as found.
  bool read_on() {
    while (text_.size() == 0) {
      const std::optional<LogRecord> record = reader_.next();
      if (!record) return false;
      if (run_ != 0 && record->run != run_) continue;
      found_ = true;
      if (run_ == 0) text_.add(line_before(*record));
      text_.add(record->output);
    }
    return true;
  }

  LogReader reader_;
  const uint64_t run_;
  bool found_ = false;
  WaitingText text_;
};

}  // namespace

host::Answer raw_output(const Call &call, Payload payload) {
  const auto run = record_of<uint64_t>(payload);
  LogFilter filter;
  if (!call.context.authority.administrator(call.caller)) filter.owner_tag = owner_tag(call.caller.uid);
  const JobLog &log = call.context.log;
  GoneOutcomes gone = gone_outcomes(log, filter);
  const auto stream = std::make_shared<RawStream>(log.read(std::move(filter), std::move(gone)), run);
  if (run != 0 && stream->is_empty()) return with_status(control::err_no_output_of_run);
  host::Answer answer;
  answer.next = [stream] { return stream->next(); };
  return answer;
}

}  // namespace service
