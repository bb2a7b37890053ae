// SPDX-License-Identifier: Apache-2.0
// What the service keeps in the schedule and job records, in the fields that are its own. The run state is stored apart
// from the record (run_state.h): runs change it all the time, and the record is the configuration's.
#pragma once

#include <sys/types.h>

#include <bit>
#include <cstdint>
#include <cstring>
#include <ctime>
#include <iterator>
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
  uint32_t running_since;  // 0: no run waits or is under way
  uint32_t running_job;    // job id + 1 of the job under way; in memory only
};
static_assert(sizeof(ScheduleState) == sizeof(sch_schedule_rec::service_tail));

inline ScheduleState state_of(const sch_schedule_rec &rec) {
  ScheduleState state;
  std::memcpy(&state, rec.service_tail, sizeof state);
  return state;
}

// A run changes the state by these alone. A run is begun when its intent is stored, and finished when its last outcome
// is.
void begun(ScheduleState &state, time_t now);
void started(ScheduleState &state, time_t now);  // its turn has come
void job_started(ScheduleState &state, uint32_t job_id);
void job_ended(ScheduleState &state);
void finished(ScheduleState &state, time_t now);
void never_started(ScheduleState &state);            // the run came to its end before its turn
void interrupted(ScheduleState &state, time_t now);  // by a crash

inline uint32_t owner_tag(uid_t uid) {
  return uid + 1;
}

// Whose it is. A job keeps it in the word of its header that the library carries unchanged.
inline uint32_t owner_of(const sch_schedule_entry &entry) {
  return state_of(*entry.rec).owner_tag;
}
inline uint32_t &owner_of(sch_job_hdr &job) {
  return job.carried;
}
inline uint32_t owner_of(const sch_job_entry &slot) {
  return owner_of(*slot.hdr);
}

// The number that the show command pages by: ascending in order of creation, and in one process never used again.
inline uint32_t schedule_number(const sch_schedule_rec &rec) {
  return rec.service_head[0];
}

// What the wall clock showed, or was to show, at the latest due time that was taken, as WallTime has it; 0: none yet.
// By the wall clock, so that the same hour of a day is not taken twice in two zones. A periodic schedule has last_run.
inline uint32_t &taken_wall(sch_schedule_rec &rec) {
  return rec.time_spare;
}
inline uint32_t taken_wall(const sch_schedule_rec &rec) {
  return rec.time_spare;
}

// Tells the schedule from a later one of its name in what is stored beside the record. 0: a record of a version that
// had none.
inline uint32_t &creation(sch_schedule_rec &rec) {
  return rec.service_head[1];
}
inline uint32_t creation(const sch_schedule_rec &rec) {
  return rec.service_head[1];
}
uint32_t new_creation();
uint32_t creation_of_old(const sch_schedule_entry &entry);  // for such a one: the same whenever it is found again

// Drawn anew whenever the record is stored, so that stored run state is known to be older or newer than it.
uint32_t edition(const sch_schedule_rec &rec);
void renew_edition(sch_schedule_rec &rec);

// A disabled schedule keeps everything and is not due: its due times pass without a record.
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

// Tells this job or schedule from a later one in the same place; a run remembers it. Only for this process.
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
