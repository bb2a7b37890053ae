// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <ctime>
#include <set>

#include "control/operations.h"
#include "control/statuses.h"
#include "host/errors.h"
#include "host/status.h"
#include "host/text_field.h"
#include "service/calendar/service_zone.h"
#include "service/clock.h"
#include "service/joblog/joblog.h"
#include "service/limits.h"
#include "service/request/answer.h"
#include "service/request/chosen_log.h"
#include "service/request/gone_outcomes.h"
#include "service/request/ownership.h"
#include "service/request/payload.h"
#include "service/request/shell_time.h"
#include "service/request/show.h"
#include "service/request/shown.h"
#include "service/request/shown_output.h"
#include "service/run/history.h"
#include "service/state/schedule_state.h"

namespace service {
namespace {

// Produces the messages of the stream one by one, as the client receives them.
class LogStream {
 public:
  explicit LogStream(LogReader reader) : reader_(std::move(reader)) {}

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
    record_.output = shown_output(record_.output);
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
    entry.completion = time_for_shell(record_.completion, service_zone(), wall_clock());
    entry.total_length = static_cast<int32_t>(record_.output.size());
    entry.piece_length = static_cast<uint32_t>(piece_length);
    return entry;
  }

  LogReader reader_;
  LogRecord record_;
  size_t number_ = 0;  // records begun
  size_t sent_ = 0;    // bytes of this record's output
};

host::Answer stream(const Call &call, LogFilter filter) {
  auto made = std::make_shared<LogStream>(read_own_log(call, std::move(filter)));
  host::Answer answer;
  answer.next = [made] { return made->next(); };
  return answer;
}

// The sequence numbers of a run's outcomes so far.
std::optional<std::set<uint64_t>> outcomes_of_run(const Call &call, uint64_t number) {
  for (const sch_schedule_entry *entry : own_schedules(call)) {
    if (newest_run(*entry) < number) continue;
    const std::optional<HistoryRun> run = find_in_history(*entry, number);
    if (!run) continue;
    std::set<uint64_t> sequences;
    for (const Outcome &outcome : run->outcomes)
      sequences.insert(outcome.sequence);
    return sequences;
  }
  return std::nullopt;
}

}  // namespace

LogReader read_own_log(const Call &call, LogFilter filter) {
  if (!call.context.authority.administrator(call.caller)) filter.owner_tag = owner_tag(call.caller.uid);
  const JobLog &log = call.context.log;
  GoneOutcomes gone = gone_outcomes(log, filter);
  return log.read(std::move(filter), std::move(gone));
}

host::Answer show_log(const Call &call, const ShowRequest &request) {
  LogFilter filter;
  filter.name = request.name;
  return stream(call, std::move(filter));
}

host::Result<LogFilter> chosen_log(const Call &call, Payload payload) {
  const auto query = record_of<control::LogQuery>(payload);
  if (query.failed_only > 1) return host::error_of(host::err_bad_value);
  LogFilter filter;
  filter.schedule = host::text_in(query.schedule);
  filter.job = host::text_in(query.job);
  filter.since = query.since;
  filter.failed_only = query.failed_only != 0;
  filter.last = query.count;
  if (query.run != 0) {
    std::optional<std::set<uint64_t>> outcomes = outcomes_of_run(call, query.run);
    if (!outcomes) return host::error_of(control::err_no_history_of_run);
    filter.outcomes = std::move(*outcomes);
  }
  return filter;
}

host::Answer show_chosen_log(const Call &call, Payload payload) {
  host::Result<LogFilter> filter = chosen_log(call, payload);
  return filter ? stream(call, std::move(*filter)) : with_status(filter.code());
}

}  // namespace service
