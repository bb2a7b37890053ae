// SPDX-License-Identifier: Apache-2.0
// Indexes of the library's lists of schedules and jobs: by name, number, due time, owner and job. These keys must be
// changed by the functions here only. A function that runs out of memory has changed nothing.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "schedcli.h"
#include "service/state/schedule_state.h"

namespace service {

// After the library has filled or emptied the lists. Numbers must ascend, and assigned jobs must exist.
void rebuild_tables();

// Schedules. Functions that find one return null when there is none.
sch_schedule_entry *find_schedule(std::string_view name);
sch_schedule_entry *schedule_by_serial(uintptr_t serial);
sch_schedule_entry *schedule_after(int64_t number);                      // the next one by number
sch_schedule_entry *schedule_after(int64_t number, uint32_t owner_tag);  // the same among this owner's

uint32_t next_schedule_number();
void skip_schedule_numbers(uint32_t next);  // numbers below `next` were used and are not given again

size_t schedule_count();
size_t schedule_count(uint32_t owner_tag);

sch_schedule_entry *add_schedule(std::string_view name, const ScheduleState &state);  // null: no memory
void remove_schedule(sch_schedule_entry &entry);
void rename_schedule(sch_schedule_entry &entry, std::string_view name);
void set_state(sch_schedule_entry &entry, const ScheduleState &state);

// Changes the schedule's state by `change`, mostly one of the transitions of schedule_state.h.
template <typename Change>
void change_state(sch_schedule_entry &entry, Change change) {
  ScheduleState state = state_of(*entry.rec);
  change(state);
  set_state(entry, state);
}

void set_next_due(sch_schedule_entry &entry, uint32_t due);               // 0: none
void set_record(sch_schedule_entry &entry, const sch_schedule_rec &rec);  // all but its number
void assign_job(sch_schedule_entry &entry, uint32_t job_id);
void deassign_job(sch_schedule_entry &entry, uint32_t job_id);

uint32_t earliest_due();                                      // over all schedules; 0: none
const sch_schedule_entry *first_due();                        // the lowest number of the earliest; nullptr: none
const sch_schedule_entry *first_due(uint32_t owner_tag);      // of the owner's
std::vector<sch_schedule_entry *> schedules_due(time_t now);  // at that moment or before, the earliest first

// Jobs.
sch_job_entry *find_job(std::string_view name);
sch_job_entry *add_job(std::string_view name, uint32_t owner_tag, uint32_t id);  // null: no memory
void remove_job(sch_job_entry &slot);
void rename_job(sch_job_entry &slot, std::string_view name);
size_t job_count(uint32_t owner_tag);
std::vector<sch_schedule_entry *> schedules_with_job(uint32_t job_id);  // by number

std::vector<uint32_t> owner_tags();  // of all that have a schedule or a job, in any order

}  // namespace service
