// SPDX-License-Identifier: Apache-2.0
#include "service/state/run_state.h"

#include <algorithm>
#include <cstring>

#include "platform/pss.h"
#include "service/run/due.h"
#include "service/state/tables.h"

namespace service {
namespace {

constexpr uint32_t version = 1;

// More than the runs that are kept can fill with an outcome of each job that there can be, three in a page. A damaged
// record that names more would be walked for ever.
constexpr uint32_t most_pages = 1 << 13;

template <typename Record>
bool fetch(sch_runtime_key key, Record *record) {
  uint32_t error = 0;
  const pss_buf name = {&key, sizeof key};
  const pss_buf *value = pss2_fetch(pss_running_db, &name, &error);
  if (value == nullptr || error != 0 || value->length != sizeof *record) return false;
  std::memcpy(record, value->data, sizeof *record);
  return record->version == version;
}

// A run that was under way at a crash was begun, so it counts as an execution.
void count_interrupted(RunState *stored) {
  if (stored->running == 0 || stored->execution_count != stored->executions_before) return;
  stored->execution_count++;
  stored->last_execution = static_cast<uint32_t>(stored->running_since_ms / 1000);
}

void take_over(sch_schedule_entry &entry, const RunState &stored) {
  entry.rec->time.last_run = stored.last_slot;
  taken_wall(*entry.rec) = stored.taken_wall;
  change_state(entry, [&](ScheduleState &state) {
    armed(state, stored.next_due);
    replace_known_runs(state, {stored.last_execution, stored.last_completion, stored.execution_count});
  });
}

// The record is of another edition: configured after the last run, or an older one from the startup configuration.
// Either way executions that are known from one of the two stay known.
void take_maximum(sch_schedule_entry &entry, const RunState &stored, time_t now) {
  change_state(entry, [&](ScheduleState &state) {
    add_known_runs(state, {stored.last_execution, stored.last_completion, stored.execution_count});
  });
  if (next_due(entry) != 0 && next_due(entry) <= stored.last_taken) arm_next(entry, now);
}

}  // namespace

sch_runtime_key run_key(RunKeyType type, uint32_t number, const char *schedule) {
  sch_runtime_key key = {type, SCH_MAX_JOBS + number, {}};
  std::memcpy(key.name, schedule, strnlen(schedule, sizeof key.name));
  sch_hton_runtime_key(&key);
  return key;
}

std::optional<RunState> read_run_state(const sch_schedule_entry &entry) {
  RunState state;
  if (!fetch(run_key(run_state_key, 0, entry.key->name), &state)) return std::nullopt;
  if (state.creation != creation(*entry.rec)) return std::nullopt;
  if (state.end_page - state.first_page > most_pages) state.first_page = state.end_page;
  if (!is_moment_ms(state.running_since_ms)) state.running_since_ms = 0;
  return state;
}

RunState new_run_state(const sch_schedule_entry &entry) {
  RunState state = {};
  state.version = version;
  state.creation = creation(*entry.rec);
  return state;
}

RunCounters read_run_counters() {
  RunCounters counters = {};
  if (!fetch(run_key(counters_key, 0, ""), &counters)) counters = {};
  if (!is_moment_ms(counters.last_seen)) counters.last_seen = 0;
  counters.version = version;
  return counters;
}

bool lay_run_state_over(sch_schedule_entry &entry, time_t now) {
  if (creation(*entry.rec) == 0) {
    creation(*entry.rec) = creation_of_old(entry);
    if (!read_run_state(entry)) return true;
  }
  ScheduleState state = state_of(*entry.rec);
  never_started(state);  // the record may have been stored while a run was under way
  std::optional<RunState> stored = read_run_state(entry);
  if (stored) count_interrupted(&*stored);
  if (stored && stored->running != 0) begun(state, static_cast<time_t>(stored->running_since_ms / 1000));
  set_state(entry, state);
  if (!stored) return false;
  if (stored->edition == edition(*entry.rec))
    take_over(entry, *stored);
  else
    take_maximum(entry, *stored, now);
  return false;
}

}  // namespace service
