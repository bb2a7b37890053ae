// SPDX-License-Identifier: Apache-2.0
// What the service keeps in the stored schedule and job records, in the fields that are its own.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <cstring>
#include <string>

#include "schedcli.h"

namespace service {

// Times are unsigned seconds since the epoch: 0 is none, and the range ends in 2106.
struct ScheduleState {
  char owner[32];
  uint32_t owner_tag;  // uid + 1; 0: no owner
  uint32_t next_due;
  uint32_t last_execution;
  uint32_t last_completion;
  uint32_t execution_count;
  uint32_t running_since;  // a crash leaves it set: the run was interrupted
  uint32_t running_job;    // job id + 1 of the job under way
};
static_assert(sizeof(ScheduleState) == sizeof(sch_schedule_rec::service_tail));

inline ScheduleState state_of(const sch_schedule_rec &rec) {
  ScheduleState state;
  std::memcpy(&state, rec.service_tail, sizeof state);
  return state;
}

inline void set_state(sch_schedule_rec &rec, const ScheduleState &state) {
  std::memcpy(rec.service_tail, &state, sizeof state);
}

inline uint32_t owner_tag(uid_t uid) {
  return uid + 1;
}

// The number that the show command pages by: ascending in order of creation.
inline uint32_t &schedule_number(sch_schedule_rec &rec) {
  return rec.service_head[0];
}
inline uint32_t schedule_number(const sch_schedule_rec &rec) {
  return rec.service_head[0];
}

inline bool has_job(const sch_schedule_rec &rec, uint32_t id) {
  return (rec.jobs[id / 32] >> (id % 32) & 1u) != 0;
}
inline void add_job(sch_schedule_rec &rec, uint32_t id) {
  rec.jobs[id / 32] |= 1u << (id % 32);
}
inline void remove_job(sch_schedule_rec &rec, uint32_t id) {
  rec.jobs[id / 32] &= ~(1u << (id % 32));
}

// Tells this job or schedule from a later one in the same place; a run remembers it. Only for this process.
uintptr_t next_serial();
inline uintptr_t &serial(sch_job_entry &slot) {
  return slot.reserved;
}
inline uintptr_t &serial(sch_schedule_entry &entry) {
  return entry.service[0];
}
sch_schedule_entry *schedule_by_serial(uintptr_t serial);

sch_schedule_entry *find_schedule(const std::string &name);
sch_job_entry *find_job(const std::string &name);
std::string name_of(const sch_config_key &key);

template <typename Visit>
void for_each_schedule(Visit visit) {
  for (GList *node = sch_schedule_list; node != nullptr;) {
    GList *next = node->next;  // a visit may remove its own element
    visit(*static_cast<sch_schedule_entry *>(node->data));
    node = next;
  }
}

template <typename Visit>
void for_each_job(Visit visit) {
  int index = 0;
  while (sch_job_entry *slot = sch_next_job(&sch_running_config, &index))
    visit(*slot, static_cast<uint32_t>(index++));
}

}  // namespace service
