// SPDX-License-Identifier: Apache-2.0
#include "service/run/run_record.h"

#include <cstring>
#include <ctime>

#include "service/state/change.h"
#include "service/state/statuses.h"

namespace service {

void store_run_state(const std::vector<sch_schedule_entry *> &entries) {
  Change change;
  for (sch_schedule_entry *entry : entries)
    change.save(*entry);
  change.commit();
}

LogRecord log_record(const sch_schedule_entry &entry, const std::string &job, uint32_t wait_status, time_t now) {
  const ScheduleState state = state_of(*entry.rec);
  LogRecord record;
  record.job = job;
  record.schedule = name_of(*entry.key);
  record.user = {state.owner, strnlen(state.owner, sizeof state.owner)};
  record.owner_tag = state.owner_tag;
  record.wait_status = wait_status;
  record.completion = static_cast<uint32_t>(now);
  return record;
}

void set_job_status(sch_job_entry &slot, const sch_schedule_entry &entry, uint32_t wait_status, time_t now) {
  sch_runtime_job_status status = {};
  std::memcpy(status.schedule_name, entry.key->name, sizeof status.schedule_name);
  status.job_id = slot.hdr->job_id;
  status.words[0] = wait_status;
  status.words[1] = static_cast<uint32_t>(now);
  set_status(slot, status);
}

std::string time_text(time_t moment) {
  struct tm fields = {};
  char text[64];
  localtime_r(&moment, &fields);
  return {text, std::strftime(text, sizeof text, "%a %b %e %H:%M:%S %Y", &fields)};
}

}  // namespace service
