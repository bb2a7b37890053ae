// SPDX-License-Identifier: Apache-2.0
#include "service/run/run_record.h"

#include <ctime>

#include "service/run/history.h"
#include "service/state/run_state.h"

namespace service {

LogRecord log_record(const RunStep &step) {
  LogRecord record;
  record.job = step.outcome.job.empty() ? no_job : step.outcome.job;
  record.schedule = step.schedule_name;
  record.user = step.owner;
  record.owner_tag = step.owner_tag;
  record.wait_status = step.outcome.wait_status;
  record.completion = static_cast<uint32_t>(step.outcome.end_ms / 1000);
  record.output = step.output;
  record.output_total = step.outcome.output_bytes;
  record.remark = step.outcome.remark;
  record.run = step.outcome.run;
  record.outcome = step.outcome.sequence;
  record.reason = static_cast<uint32_t>(step.outcome.reason);
  return record;
}

OutcomeSource stored_outcomes() {
  OutcomeSource source;
  source.newest = [] { return read_run_counters().outcomes; };
  source.walk_after = [](uint64_t after, const auto &visit) {
    walk_outcomes_after(after, [&](const sch_schedule_entry &entry, const Outcome &outcome) {
      RunStep step(entry);
      step.outcome = outcome;
      visit(log_record(step));
    });
  };
  return source;
}

std::string time_text(time_t moment) {
  struct tm fields = {};
  char text[64];
  localtime_r(&moment, &fields);
  return {text, std::strftime(text, sizeof text, "%a %b %e %H:%M:%S %Y", &fields)};
}

}  // namespace service
