// SPDX-License-Identifier: Apache-2.0
#include "service/mail/run_reports.h"

#include <algorithm>
#include <utility>

#include "service/calendar/service_zone.h"
#include "service/run/run_record.h"

namespace service {
namespace {

// A message of all outputs that mail servers take as a rule; the job log has the rest.
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

}  // namespace

void RunReports::take(const RunStep &step) {
  const bool is_whole = step.has_outcome && step.outcome.job.empty();  // of a run that never came to a job
  if (!is_whole && !step.ends_run && !courier_.wants(step.schedule_name)) return;
  auto report = under_way_.extract(step.outcome.run);
  MailReport taken = report ? std::move(report.mapped()) : report_for(step);
  if (step.has_outcome) add(step, &taken);
  if (!is_whole && !step.ends_run) {
    under_way_.emplace(step.outcome.run, std::move(taken));
  } else if (!taken.parts.empty()) {
    courier_.send(taken);
  }
}

}  // namespace service
