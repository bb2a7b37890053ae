// SPDX-License-Identifier: Apache-2.0
#include "service/run/take.h"

#include <algorithm>

#include "service/calendar/calendar.h"
#include "service/limits.h"
#include "service/run/due.h"
#include "service/run/run_record.h"
#include "service/state/tables.h"

namespace service {
namespace {

bool has_jobs(const sch_schedule_rec &rec) {
  return std::any_of(std::begin(rec.jobs), std::end(rec.jobs), [](uint32_t word) { return word != 0; });
}

// The period of a periodic schedule; 0 for others.
uint32_t period_of_slots(const sch_schedule_entry &entry) {
  return entry.rec->time.type == SCH_SCHEDULE_PERIODIC ? static_cast<uint32_t>(period_of(entry.rec->time)) : 0;
}

std::string and_then(const sch_schedule_entry &entry) {
  const uint32_t next = next_due(entry);
  return next == 0 ? "; it does not run again" : "; next at " + time_text(next);
}

}  // namespace

void Take::take(sch_schedule_entry &entry) {
  before_.push_back({&entry, *entry.rec});
  const Missed missed = take_missed(entry);
  const uint32_t on_time = next_due(entry);
  const bool is_due = on_time != 0 && time_t{on_time} <= now_;
  const bool runs_once =
      missed.count != 0 && !is_due && policy_.run_once && now_ - time_t{missed.last} <= policy_.window_s;
  if (missed.count > (runs_once ? 1u : 0u))
    tell_missed(entry, runs_once ? Missed{missed.count - 1, missed.first, missed.before_last, 0} : missed);
  if (runs_once) take_one(entry, missed.last);
  uint32_t latest = missed.last;
  for (uint32_t due; (due = next_due(entry)) != 0 && time_t{due} <= now_;) {
    latest = due;
    arm_next(entry, due);
    take_one(entry, due);
    if (next_due(entry) <= due) set_next_due(entry, 0);  // must advance, or this loop would not end
  }
  taken_.push_back({&entry, latest});
}

// Times of the wall clock are counted one by one, as there are few (a daily schedule has 31 in a month); those of a
// periodic schedule, which may be many, are computed.
Take::Missed Take::take_missed(sch_schedule_entry &entry) const {
  Missed missed;
  const uint32_t period = period_of_slots(entry);
  const time_t on_time = now_ - policy_.late_grace_s;
  for (uint32_t due; (due = next_due(entry)) != 0 && time_t{due} < on_time;) {
    const uint32_t further = period == 0 ? 0 : static_cast<uint32_t>((on_time - 1 - due) / period);
    if (missed.count == 0) missed.first = due;
    missed.before_last = further == 0 ? missed.last : due + (further - 1) * period;
    missed.last = due + further * period;
    missed.count += 1 + further;
    arm_next(entry, missed.last);
    if (missed.count >= missed_count_limit) arm_next(entry, on_time);
    if (next_due(entry) <= missed.last) break;
  }
  return missed;
}

void Take::take_one(sch_schedule_entry &entry, uint32_t due) {
  const bool begins_already = !beginnings_.empty() && beginnings_.back().entry == &entry;
  if (begins_already || state_of(*entry.rec).running_since != 0)
    return tell(entry, Reason::skipped, due,
                "skipped: the run due at " + time_text(due) + " came while the one before was under way");
  if (!has_jobs(*entry.rec))
    return tell(entry, Reason::no_jobs, due, "nothing ran: no job is assigned to the schedule");
  beginnings_.push_back({&entry, due});
}

void Take::tell(const sch_schedule_entry &entry, Reason reason, uint32_t due, std::string remark) {
  RunStep step(entry);
  step.outcome.due = due;
  step.outcome.reason = reason;
  step.outcome.wait_status = exit_status(reason);
  step.outcome.run_begin_ms = step.outcome.end_ms = now_ms_;
  step.outcome.remark = std::move(remark);
  steps_.push_back(std::move(step));
}

void Take::tell_missed(const sch_schedule_entry &entry, const Missed &missed) {
  const std::string times = missed.count == 1 ? "it was due at " + time_text(missed.first)
                                              : std::to_string(missed.count) + " due times, the first at " +
                                                    time_text(missed.first) + ", the last at " + time_text(missed.last);
  tell(entry, Reason::missed, missed.first, "missed: " + times + ", found at " + time_text(now_) + and_then(entry));
  steps_.back().outcome.missed_count = missed.count;
  steps_.back().outcome.missed_last = missed.last;
}

bool Take::store(Recorder &recorder) {
  const host::Result<void> stored = recorder.commit(std::move(steps_), [this](RunBatch &batch) {
    for (const auto &[entry, due] : taken_) {
      batch.save(*entry);
      batch.taken(*entry, due);
    }
    for (Beginning &beginning : beginnings_)
      beginning.number = batch.begin_run(*beginning.entry, beginning.due, now_ms_, "");
  });
  if (stored) return true;
  for (auto &[entry, record] : before_)
    set_record(*entry, record);
  return false;
}

void Take::begin(Runner &runner) {
  for (const Beginning &beginning : beginnings_) {
    change_state(*beginning.entry, [this](ScheduleState &state) { begun(state, now_); });
    runner.add(*beginning.entry, {beginning.number, serial(*beginning.entry), beginning.due, now_ms_, ""});
  }
}

}  // namespace service
