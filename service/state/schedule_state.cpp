// SPDX-License-Identifier: Apache-2.0
#include "service/state/schedule_state.h"

#include <sys/random.h>

#include <algorithm>

#include "host/text_field.h"

namespace service {
namespace {

constexpr uint32_t disabled_bit = 0x80000000;  // of the record's service_word; the other bits are its edition

uint32_t any_number() {
  uint32_t number = 0;
  while (number == 0)
    if (getrandom(&number, sizeof number, 0) != sizeof number) number = 0;
  return number;
}

}  // namespace

void put_state(sch_schedule_rec &rec, const ScheduleState &state) {
  std::memcpy(rec.service_tail, &state, sizeof state);
}

ScheduleState owned_by(std::string_view name, uint32_t tag) {
  ScheduleState state = {};
  host::put_text(name, state.owner);
  state.owner_tag = tag;
  return state;
}

void armed(ScheduleState &state, uint32_t due) {
  state.next_due = due;
}

void begun(ScheduleState &state, time_t now) {
  state.running_since = static_cast<uint32_t>(now);
  state.running_job = 0;
}

void started(ScheduleState &state, time_t now) {
  state.last_execution = static_cast<uint32_t>(now);
  state.execution_count++;
}

void job_started(ScheduleState &state, uint32_t job_id) {
  state.running_job = job_id + 1;
}

void job_ended(ScheduleState &state) {
  state.running_job = 0;
}

void finished(ScheduleState &state, time_t now) {
  state.last_completion = static_cast<uint32_t>(now);
  never_started(state);
}

void never_started(ScheduleState &state) {
  state.running_since = state.running_job = 0;
}

// It is not known whether the run had its turn, so it counts as executed, unless it was counted already (by the version
// that counted runs when they were begun).
void interrupted(ScheduleState &state, time_t now) {
  if (state.last_execution < state.running_since) started(state, state.running_since);
  finished(state, now);
}

void replace_known_runs(ScheduleState &state, const KnownRuns &runs) {
  state.last_execution = runs.execution;
  state.last_completion = runs.completion;
  state.execution_count = runs.count;
}

void add_known_runs(ScheduleState &state, const KnownRuns &runs) {
  state.last_execution = std::max(state.last_execution, runs.execution);
  state.last_completion = std::max(state.last_completion, runs.completion);
  state.execution_count = std::max(state.execution_count, runs.count);
}

uint32_t new_creation() {
  return any_number();
}

uint32_t creation_of_old(const sch_schedule_entry &entry) {
  uint32_t hash = 2166136261u;  // FNV-1a
  const auto mix = [&](uint32_t byte) { hash = (hash ^ byte) * 16777619u; };
  for (const char letter : name_of(*entry.key))
    mix(static_cast<unsigned char>(letter));
  for (uint32_t number = schedule_number(*entry.rec); number != 0; number >>= 8)
    mix(number & 0xff);
  return hash == 0 ? 1 : hash;
}

uint32_t edition(const sch_schedule_rec &rec) {
  return rec.service_word & ~disabled_bit;
}

void renew_edition(sch_schedule_rec &rec) {
  rec.service_word = (rec.service_word & disabled_bit) | (any_number() & ~disabled_bit);
}

bool is_enabled(const sch_schedule_rec &rec) {
  return (rec.service_word & disabled_bit) == 0;
}

void set_enabled(sch_schedule_rec &rec, bool enabled) {
  rec.service_word = enabled ? rec.service_word & ~disabled_bit : rec.service_word | disabled_bit;
}

uintptr_t next_serial() {
  static uintptr_t last = 0;
  return ++last;
}

std::string name_of(const sch_config_key &key) {
  return std::string(host::text_in(key.name));
}

}  // namespace service
