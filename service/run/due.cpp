// SPDX-License-Identifier: Apache-2.0
#include "service/run/due.h"

#include <algorithm>

#include "service/calendar/calendar.h"
#include "service/calendar/clock_step.h"
#include "service/calendar/service_zone.h"
#include "service/state/tables.h"

namespace service {
namespace {

WallTime taken_of(const sch_schedule_rec &rec) {
  const uint32_t stored = taken_wall(rec);
  return stored == 0 ? nothing_taken : WallTime{stored};
}

uint32_t next_after(const sch_schedule_rec &rec, time_t moment) {
  return next_due(rec.time, moment, service_zone(), taken_of(rec)).value_or(0);
}

// A start time that is the current second has not passed.
bool may_be_now(const sch_tminfo &time) {
  return time.type == SCH_SCHEDULE_ONESHOT || time.type == SCH_SCHEDULE_PERIODIC;
}

// Sets last_run to the latest slot up to now. Slots are whole periods after the last one.
void take_slot(sch_tminfo &time, int64_t slot, int64_t now) {
  const int64_t period = period_of(time);
  if (period <= 0) return;
  slot += std::max<int64_t>(0, now - slot) / period * period;
  time.last_run = static_cast<int32_t>(static_cast<uint32_t>(slot));
}

void take_wall_time(sch_schedule_rec &rec, uint32_t due) {
  const int64_t shown = service_zone().wall_at(due).seconds;
  taken_wall(rec) = static_cast<uint32_t>(std::clamp<int64_t>(shown, taken_wall(rec), UINT32_MAX));
}

void take(sch_schedule_rec &rec, uint32_t due, time_t now) {
  if (due == 0) return;
  if (counts_elapsed_time(rec.time))
    take_slot(rec.time, due, now);
  else
    take_wall_time(rec, due);
}

uint32_t taken_and_next(sch_schedule_rec &rec, uint32_t due, time_t now) {
  take(rec, due, now);
  return rec.time.type == SCH_SCHEDULE_ONESHOT ? 0 : next_after(rec, now);
}

// A periodic schedule that has begun goes on by elapsed time: its slots move back by whole periods, as its start time
// was of the wrong clock and may be years ahead.
void forget_slots_ahead(sch_tminfo &time, time_t now) {
  const int64_t period = period_of(time), last_run = static_cast<uint32_t>(time.last_run);
  if (last_run <= now || period <= 0) return;
  const int64_t periods = std::min((last_run - now + period - 1) / period, (last_run - 1) / period);
  time.last_run = static_cast<int32_t>(static_cast<uint32_t>(last_run - periods * period));
}

void forget_what_lies_ahead(sch_schedule_rec &rec, time_t now) {
  if (counts_elapsed_time(rec.time)) forget_slots_ahead(rec.time, now);
  if (taken_wall(rec) > service_zone().wall_at(now).seconds) taken_wall(rec) = 0;
}

}  // namespace

bool arm(sch_schedule_entry &entry, time_t now) {
  const uint32_t next = next_after(*entry.rec, may_be_now(entry.rec->time) ? now - 1 : now);
  set_next_due(entry, next);
  return next != 0;
}

void arm_next(sch_schedule_entry &entry, time_t now) {
  set_next_due(entry, taken_and_next(*entry.rec, next_due(entry), now));
}

std::vector<uint32_t> coming_dues(const sch_schedule_entry &entry, size_t count) {
  std::vector<uint32_t> dues;
  sch_schedule_rec rec = *entry.rec;
  for (uint32_t due = state_of(rec).next_due; due != 0 && dues.size() < count; due = taken_and_next(rec, due, due))
    dues.push_back(due);
  return dues;
}

void arm_anew(sch_schedule_entry &entry, time_t now) {
  forget_what_lies_ahead(*entry.rec, now);
  if (next_due(entry) != 0) arm(entry, now);
}

bool arm_in_zone(sch_schedule_entry &entry, time_t now) {
  const uint32_t due = next_due(entry);
  if (due == 0 || due <= now || counts_elapsed_time(entry.rec->time)) return false;
  // A one-shot time that has passed in the new zone stays due, and is then late or missed, rather than being dropped.
  const uint32_t next = next_after(*entry.rec, entry.rec->time.type == SCH_SCHEDULE_ONESHOT ? 0 : now);
  if (next != due) set_next_due(entry, next);
  return next != due;
}

void arm_after_step(sch_schedule_entry &entry, time_t step, time_t now) {
  sch_tminfo &time = entry.rec->time;
  const uint32_t due = next_due(entry);
  if (due == 0 || !counts_elapsed_time(time)) return;
  if (time.last_run == 0) {  // no slot was taken yet: the start time applies as it is
    arm(entry, now);
    return;
  }
  const uint32_t earlier = due_after_step(due, period_of(time), step);
  time.last_run = static_cast<int32_t>(earlier - static_cast<uint32_t>(period_of(time)));
  set_next_due(entry, earlier);
}

}  // namespace service
