// SPDX-License-Identifier: Apache-2.0
// What the service keeps in those fields of the schedule and job records that the library leaves to it. The state of
// runs is also stored apart from the record (run_state.h), as every run changes it.
#pragma once

#include <sys/types.h>

#include <bit>
#include <cstdint>
#include <cstring>
#include <ctime>
#include <iterator>
#include <string>
#include <string_view>

#include "schedcli.h"

namespace service {

// Times are unsigned seconds since the epoch, up to 2106; 0 is none.
struct ScheduleState {
  char owner[32];
  uint32_t owner_tag;  // uid + 1; 0: no owner
  uint32_t next_due;
  uint32_t last_execution;
  uint32_t last_completion;
  uint32_t execution_count;
  uint32_t running_since;  // 0: no run waits or is under way
  uint32_t running_job;    // job id + 1 of the job under way; in memory only
};
static_assert(sizeof(ScheduleState) == sizeof(sch_schedule_rec::service_tail));

inline ScheduleState state_of(const sch_schedule_rec &rec) {
  ScheduleState state;
  std::memcpy(&state, rec.service_tail, sizeof state);
  return state;
}

void put_state(sch_schedule_rec &rec, const ScheduleState &state);

ScheduleState owned_by(std::string_view name, uint32_t tag);  // of a new schedule
void armed(ScheduleState &state, uint32_t due);               // 0: it is not due

// The transitions by which runs change the state. A run is begun when its intent is stored, and finished when its last
// outcome is stored.
void begun(ScheduleState &state, time_t now);
void started(ScheduleState &state, time_t now);  // its turn has come
void job_started(ScheduleState &state, uint32_t job_id);
void job_ended(ScheduleState &state);
void finished(ScheduleState &state, time_t now);
void never_started(ScheduleState &state);            // the run was ended before its turn came
void interrupted(ScheduleState &state, time_t now);  // by a crash

// Runs that another record knows of: the last one, and how many there were.
struct KnownRuns {
  uint32_t execution, completion, count;
};
void add_known_runs(ScheduleState &state, const KnownRuns &runs);
void replace_known_runs(ScheduleState &state, const KnownRuns &runs);

inline uint32_t owner_tag(uid_t uid) {
  return uid + 1;
}

// The owner's tag. A job has it in the word of its header that the library leaves to the service.
inline uint32_t owner_of(const sch_schedule_entry &entry) {
  return state_of(*entry.rec).owner_tag;
}
inline uint32_t next_due(const sch_schedule_entry &entry) {  // 0: none
  return state_of(*entry.rec).next_due;
}
inline uint32_t &owner_of(sch_job_hdr &job) {
  return job.carried;
}
inline uint32_t owner_of(const sch_job_entry &slot) {
  return owner_of(*slot.hdr);
}

// The cursor of the show command: ascending in the order of creation, and never reused by the same process.
inline uint32_t schedule_number(const sch_schedule_rec &rec) {
  return rec.service_head[0];
}

// The wall clock time (see WallTime) of the latest due time that was taken; 0: none yet. Kept as wall clock time so
// that a change of the zone does not run the same time of a day twice. Periodic schedules use last_run instead.
inline uint32_t &taken_wall(sch_schedule_rec &rec) {
  return rec.time_spare;
}
inline uint32_t taken_wall(const sch_schedule_rec &rec) {
  return rec.time_spare;
}

// Distinguishes the schedule from a later one of the same name, in what is stored apart from the record. 0: the record
// is of an old version.
inline uint32_t &creation(sch_schedule_rec &rec) {
  return rec.service_head[1];
}
inline uint32_t creation(const sch_schedule_rec &rec) {
  return rec.service_head[1];
}
uint32_t new_creation();
uint32_t creation_of_old(const sch_schedule_entry &entry);  // for such a record: always the same value

// A random number, new whenever the record is stored, by which a run state tells whether it belongs to that very
// record.
uint32_t edition(const sch_schedule_rec &rec);
void renew_edition(sch_schedule_rec &rec);

// A disabled schedule is never due; due times that pass meanwhile are not recorded as missed.
bool is_enabled(const sch_schedule_rec &rec);
void set_enabled(sch_schedule_rec &rec, bool enabled);

inline bool has_job(const sch_schedule_rec &rec, uint32_t id) {
  return (rec.jobs[id / 32] >> (id % 32) & 1u) != 0;
}

template <typename Visit>
void for_each_assigned(const sch_schedule_rec &rec, Visit visit) {  // job ids, ascending
  for (uint32_t word = 0; word < std::size(rec.jobs); word++)
    for (uint32_t bits = rec.jobs[word]; bits != 0; bits &= bits - 1)
      visit(word * 32 + static_cast<uint32_t>(std::countr_zero(bits)));
}

// Distinguishes a job or schedule from a later one in the same slot, for runs that outlive it. Valid in this process
// only.
uintptr_t next_serial();
inline uintptr_t &serial(sch_job_entry &slot) {
  return slot.reserved;
}
inline uintptr_t serial(const sch_schedule_entry &entry) {
  return schedule_number(*entry.rec);
}

std::string name_of(const sch_config_key &key);

template <typename Visit>
void for_each_schedule(Visit visit) {
  for (GList *node = sch_schedule_list; node != nullptr;) {
    GList *next = node->next;  // `visit` may remove the element
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
