// SPDX-License-Identifier: Apache-2.0
// Documents about runs and what they left.
#include <map>
#include <memory>

#include "control/statuses.h"
#include "host/text_field.h"
#include "service/document/answer.h"
#include "service/document/run.h"
#include "service/request/answer.h"
#include "service/request/chosen_log.h"
#include "service/request/show_run.h"
#include "service/request/show_runs.h"
#include "service/request/shown.h"
#include "service/state/schedule_state.h"

namespace service {
namespace {

using control::json_moment;
using control::json_moment_ms;
using control::json_number;
using control::json_text;

constexpr char nobody[] = "-";  // in the log, where no job, schedule or user is meant

// A clock that was set back meanwhile makes no negative one.
std::string duration(int64_t begin_ms, int64_t end_ms) {
  return json_number(static_cast<uint64_t>(std::max<int64_t>(end_ms - begin_ms, 0)));
}

void add_text(Json *object, const char *name, std::string_view text) {
  if (!text.empty()) (*object)[name] = json_text(text);
}

void add_output(Json *object, const LogRecord &record) {
  const Printed printed = printed_in(record);
  (*object)["output"] = json_text(printed.text);
  (*object)["output-length"] = json_number(printed.length);
  (*object)["output-cut"] = printed.cut;
  if (!object->contains("remark")) add_text(object, "remark", printed.remark);
}

Json outcome_json(const Outcome &outcome) {
  Json json;
  json["number"] = json_number(outcome.sequence);
  if (!outcome.job.empty()) json["job"] = outcome.job;
  json["outcome"] = word_for(outcome);
  json["exit-code"] = outcome.wait_status >> 8 & 0xff;
  if (outcome.begin_ms != 0) {
    json["start"] = json_moment_ms(outcome.begin_ms);
    json["duration"] = duration(outcome.begin_ms, outcome.end_ms);
  }
  json["end"] = json_moment_ms(outcome.end_ms);
  add_text(&json, "remark", outcome.remark);
  if (outcome.killed != 0) json["processes-ended"] = outcome.killed;
  return json;
}

using Outputs = std::map<uint64_t, LogRecord>;  // by the outcome's number

Outputs outputs_of(const Call &call, const FoundRun &run) {
  LogFilter filter;
  for (const Outcome &outcome : run.outcomes)
    filter.outcomes.insert(outcome.sequence);
  Outputs outputs;
  if (filter.outcomes.empty()) return outputs;
  LogReader reader = read_own_log(call, std::move(filter));
  while (std::optional<LogRecord> record = reader.next())
    outputs.insert_or_assign(record->outcome, std::move(*record));
  return outputs;
}

Json output_of(const Outcome &outcome, const Outputs &outputs) {
  Json json = outcome_json(outcome);
  if (const auto found = outputs.find(outcome.sequence); found != outputs.end()) {
    add_output(&json, found->second);
  } else {
    LogRecord gone;
    gone.output_total = outcome.output_bytes;
    add_output(&json, gone);
  }
  return json;
}

host::Answer run_document(const Call &call, uint64_t number) {
  const std::optional<FoundRun> found = find_run(call, number);
  if (!found) return with_status(control::err_no_history_of_run);
  Json content = run_json(found->summary);
  const ScheduleState state = state_of(*found->entry->rec);
  content["owner"] = json_text(host::text_in(state.owner));
  add_text(&content, "job-under-way", found->job);
  const Outputs outputs = outputs_of(call, *found);
  content["job-outcome"] = Json::array();
  for (const Outcome &outcome : found->outcomes)
    content["job-outcome"].push_back(output_of(outcome, outputs));
  return document("run", std::move(content));
}

std::string word_of(const LogRecord &record) {
  Outcome outcome;
  outcome.reason = static_cast<Reason>(record.reason);
  outcome.wait_status = record.wait_status;
  return word_for(outcome);
}

void add_name(Json *object, const char *name, const std::string &value) {
  if (value != nobody) add_text(object, name, value);
}

Json entry_of(const LogRecord &record) {
  Json entry;
  if (record.run != 0) entry["run"] = json_number(record.run);
  if (record.outcome != 0) entry["outcome-number"] = json_number(record.outcome);
  add_name(&entry, "schedule", record.schedule);
  add_name(&entry, "job", record.job);
  add_name(&entry, "owner", record.user);
  if (record.completion != 0) entry["end"] = json_moment(record.completion);
  if (record.outcome != 0) {
    entry["outcome"] = word_of(record);
    entry["exit-code"] = record.wait_status >> 8 & 0xff;
  }
  add_output(&entry, record);
  return entry;
}

}  // namespace

Json run_json(const RunSummary &run) {
  Json json;
  json["number"] = json_number(run.number);
  json["schedule"] = run.schedule;
  if (run.due != 0)
    json["due"] = json_moment(run.due);
  else
    json["asked-by"] = json_text(run.asked_by);
  if (run.begin_ms != 0) json["start"] = json_moment_ms(run.begin_ms);
  if (run.end_ms != 0) json["end"] = json_moment_ms(run.end_ms);
  if (has_duration(run)) json["duration"] = duration(run.begin_ms, run.end_ms);
  json["outcome"] = run.outcome;
  if (run.missed != 0) json["missed"] = run.missed;
  json["jobs"] = run.jobs;
  json["jobs-failed"] = run.failed;
  return json;
}

host::Answer history_document(const Call &call, Payload payload) {
  const host::Result<HistoryAsked> asked = history_asked(payload);
  if (!asked) return with_status(asked.code());
  if (asked->query.run != 0) return run_document(call, asked->query.run);
  const host::Result<FoundRuns> found = find_runs(call, *asked);
  if (!found) return with_status(found.code());
  Json content = {{"complete", found->complete}, {"run", Json::array()}};
  for (const RunSummary &run : found->runs)
    content["run"].push_back(run_json(run));
  return document("history", std::move(content));
}

host::Answer log_document(const Call &call, Payload payload) {
  host::Result<LogFilter> filter = chosen_log(call, payload);
  if (!filter) return with_status(filter.code());
  const auto reader = std::make_shared<LogReader>(read_own_log(call, std::move(*filter)));
  const Json head = {{"entries", reader->count()}};
  return list_document("log", head, "entry", [reader]() -> std::optional<Json> {
    const std::optional<LogRecord> record = reader->next();
    return record ? std::optional(entry_of(*record)) : std::nullopt;
  });
}

}  // namespace service
