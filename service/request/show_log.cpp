// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <ctime>

#include "host/text_field.h"
#include "service/calendar/service_zone.h"
#include "service/joblog/joblog.h"
#include "service/limits.h"
#include "service/request/answer.h"
#include "service/request/gone_outcomes.h"
#include "service/request/shell_time.h"
#include "service/request/show.h"
#include "service/request/shown_output.h"
#include "service/state/schedule_state.h"

namespace service {
namespace {

enum class OutputForm { visible, raw };

// Makes the messages of the stream one by one, as the client takes them.
class LogStream {
 public:
  LogStream(LogReader reader, OutputForm form) : reader_(std::move(reader)), form_(form) {}

  std::optional<host::Bytes> next() {
    if (reader_.count() == 0) return empty_log();
    if (sent_ >= record_.output.size() && !next_record()) return std::nullopt;
    const std::string_view piece = std::string_view(record_.output).substr(sent_, log_piece_limit);
    sent_ += piece.size();
    host::Bytes message;
    message.reserve(sizeof(sch_log_entry) + piece.size());
    append_record(&message, describe(piece.size()));
    append_text(&message, piece);
    return message;
  }

 private:
  // One message, with a count of 0.
  std::optional<host::Bytes> empty_log() {
    if (number_++ != 0) return std::nullopt;
    host::Bytes message;
    append_record(&message, sch_log_entry{});
    return message;
  }

  bool next_record() {
    std::optional<LogRecord> record = reader_.next();
    if (!record) return false;
    record_ = std::move(*record);
    if (form_ == OutputForm::visible) record_.output = shown_output(record_.output);
    number_++;
    sent_ = 0;
    return true;
  }

  sch_log_entry describe(size_t piece_length) const {
    sch_log_entry entry = {};
    entry.count = static_cast<uint32_t>(reader_.count());
    entry.number = static_cast<uint32_t>(number_);
    host::put_text(record_.job, entry.job);
    host::put_text(record_.schedule, entry.schedule);
    host::put_text(record_.user, entry.user);
    entry.wait_status = record_.wait_status;
    entry.completion = time_for_shell(record_.completion, service_zone(), time(nullptr));
    entry.total_length = static_cast<int32_t>(record_.output.size());
    entry.piece_length = static_cast<uint32_t>(piece_length);
    return entry;
  }

  LogReader reader_;
  OutputForm form_;
  LogRecord record_;
  size_t number_ = 0;  // records begun
  size_t sent_ = 0;    // bytes of this record's output
};

host::Answer stream(const Call &call, const ShowRequest &request, OutputForm form) {
  LogFilter filter;
  if (!call.context.authority.administrator(call.caller)) filter.owner_tag = owner_tag(call.caller.uid);
  filter.name = request.name;
  const JobLog &log = call.context.log;
  GoneOutcomes gone = gone_outcomes(log, filter.owner_tag, filter.name);
  auto made = std::make_shared<LogStream>(log.read(std::move(filter), std::move(gone)), form);
  host::Answer answer;
  answer.next = [made] { return made->next(); };
  return answer;
}

}  // namespace

host::Answer show_log(const Call &call, const ShowRequest &request) {
  return stream(call, request, OutputForm::visible);
}

host::Answer show_raw_log(const Call &call, const ShowRequest &request) {
  return stream(call, request, OutputForm::raw);
}

}  // namespace service
