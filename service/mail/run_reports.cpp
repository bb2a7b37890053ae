// SPDX-License-Identifier: Apache-2.0
#include "service/mail/run_reports.h"

#include <algorithm>
#include <utility>

#include "service/calendar/service_zone.h"
#include "service/run/history.h"
#include "service/run/owed_reports.h"
#include "service/run/run_record.h"
#include "service/state/run_state.h"
#include "service/state/tables.h"

namespace service {
namespace {

// Of all outputs in one message, so that mail servers accept its size; the job log has the rest.
constexpr size_t outputs_limit = 1024 * 1024;

bool is_success(const Outcome &outcome) {
  return outcome.reason == Reason::ended && outcome.wait_status == 0;
}

std::string words_for(const Outcome &outcome) {
  std::string words = word_for(outcome.reason);
  if (outcome.reason == Reason::ended)
    words = outcome.wait_status == 0 ? "success" : "failed, exit code " + std::to_string(outcome.wait_status >> 8);
  return outcome.remark.empty() ? words : words + " (" + outcome.remark + ")";
}

MailReport report_for(const RunStep &step) {
  MailReport report;
  report.schedule = step.schedule_name;
  report.owner = step.owner;
  report.run = step.outcome.run;
  if (step.outcome.due != 0) report.due = time_text(step.outcome.due) + " " + service_zone().identifier();
  return report;
}

size_t room_for_output(const MailReport &report) {
  size_t taken = 0;
  for (const MailPart &part : report.parts)
    taken += part.output.size();
  return outputs_limit - std::min(outputs_limit, taken);
}

void add(const RunStep &step, MailReport *report) {
  report->failed = report->failed || !is_success(step.outcome);
  report->parts.push_back({step.outcome.job, words_for(step.outcome), step.output.substr(0, room_for_output(*report))});
}

bool is_whole(const RunStep &step) {  // the outcome of a run that started no job
  return step.has_outcome && step.outcome.job.empty();
}

// The output as the log shows it, with its remarks about what is missing.
std::string logged_output(const JobLog &log, const std::string &schedule, const Outcome &outcome) {
  LogFilter filter;
  filter.schedule = schedule;
  LogReader reader = log.read(std::move(filter));
  while (const std::optional<LogRecord> record = reader.next())
    if (record->outcome == outcome.sequence) return record->output;
  return {};
}

}  // namespace

bool RunReports::owes(const RunStep &step) const {
  return (is_whole(step) || step.ends_run) && courier_.wants(step.schedule_name);
}

MailReport RunReports::report_from_history(const sch_schedule_entry &entry, uint64_t run) const {
  RunStep step(entry);
  step.outcome.run = run;
  const std::optional<HistoryRun> found = find_in_history(entry, run);
  if (!found) return report_for(step);
  step.outcome = found->outcomes.front();
  MailReport report = report_for(step);
  for (const Outcome &outcome : found->outcomes) {
    step.outcome = outcome;
    step.output = log_ != nullptr ? logged_output(*log_, step.schedule_name, outcome) : std::string();
    add(step, &report);
  }
  return report;
}

void RunReports::take(const RunStep &step) {
  const bool is_end = is_whole(step) || step.ends_run;
  if (!is_end && !courier_.wants(step.schedule_name)) return;
  auto report = under_way_.extract(step.outcome.run);
  MailReport taken = report ? std::move(report.mapped()) : report_for(step);
  if (step.has_outcome) add(step, &taken);
  if (!is_end) {
    under_way_.emplace(step.outcome.run, std::move(taken));
    return;
  }
  // Outcomes of the run from before the crash are only in the history.
  const sch_schedule_entry *entry = schedule_by_serial(step.schedule);
  if (step.outcome.reason == Reason::interrupted && entry != nullptr)
    taken = report_from_history(*entry, step.outcome.run);
  taken.number = step.report;
  if (!taken.parts.empty()) courier_.send(taken);
}

void RunReports::recover(Recorder &recorder) {
  const uint32_t sent = courier_.last_sent(read_run_counters().reports);
  for (const OwedReport &owed : read_owed_reports()) {
    if (owed.number > sent) {
      MailReport report = report_from_history(*owed.entry, owed.run);
      report.number = owed.number;
      if (!report.parts.empty()) courier_.send(report);
    }
    recorder.settle_report(owed.number, name_of(*owed.entry->key));
  }
}

}  // namespace service
