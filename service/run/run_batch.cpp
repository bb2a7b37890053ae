// SPDX-License-Identifier: Apache-2.0
#include "service/run/run_batch.h"

#include "host/status.h"
#include "host/store/store.h"
#include "host/text_field.h"
#include "service/run/history.h"
#include "service/run/history_page.h"
#include "service/run/owed_reports.h"
#include "service/state/statuses.h"

namespace service {
namespace {

uint32_t delete_page(const sch_schedule_entry &entry, uint32_t number) {
  sch_runtime_key key = run_key(history_key, number, entry.key->name);
  const pss_buf name = {&key, sizeof key};
  const uint32_t error = pss_delete(pss_running_db, &name);
  return error == PSS_ERR_NO_KEY ? 0 : error;
}

// Drops the oldest pages as long as the others hold enough runs.
uint32_t drop_old_pages(const sch_schedule_entry &entry, RunState *state) {
  size_t runs = 0;
  uint32_t keep = state->end_page;
  for (; keep != state->first_page && runs < history_runs; keep--)
    if (const std::optional<HistoryPage> page = HistoryPage::read(entry, keep - 1)) runs += page->new_runs();
  for (; state->first_page < keep; state->first_page++)
    if (const uint32_t error = delete_page(entry, state->first_page); error != 0) return error;
  return 0;
}

uint32_t add_to_history(const sch_schedule_entry &entry, RunState *state, const Outcome &outcome) {
  std::optional<HistoryPage> page;
  if (state->end_page != state->first_page) page = HistoryPage::read(entry, state->end_page - 1);
  if (page && page->add(outcome)) return page->write(entry, state->end_page - 1);
  HistoryPage next(state->creation, page ? &*page : nullptr);
  next.add(outcome);
  if (const uint32_t error = next.write(entry, state->end_page++); error != 0) return error;
  return drop_old_pages(entry, state);
}

uint32_t store(sch_runtime_key key, const void *record, size_t size) {
  const pss_buf name = {&key, sizeof key}, value = {const_cast<void *>(record), static_cast<uint32_t>(size)};
  return pss_store(pss_running_db, 1, &name, &value);
}

uint32_t store_state(const sch_schedule_entry &entry, const RunState &state) {
  return store(run_key(run_state_key, 0, entry.key->name), &state, sizeof state);
}

}  // namespace

RunBatch::RunBatch(RunCounters &counters) : counters_(counters), before_(counters) {
  failure_ = host::store_begin(pss_running_db).code();
  open_ = failure_ == 0;
}

RunBatch::~RunBatch() {
  if (!open_) return;
  host::store_abort(pss_running_db);
  take_numbers_back();
}

void RunBatch::take_numbers_back() {
  counters_ = before_;
  for (Outcome *outcome : numbered_)
    outcome->run = 0;
}

void RunBatch::require(uint32_t error) {
  if (failure_ == 0) failure_ = error;
}

RunState &RunBatch::state_for(const sch_schedule_entry &entry) {
  const auto [found, is_new] = states_.try_emplace(&entry);
  if (is_new) found->second = read_run_state(entry).value_or(new_run_state(entry));
  return found->second;
}

void RunBatch::save(const sch_schedule_entry &entry, const ScheduleState &state) {
  RunState &stored = state_for(entry);
  stored.edition = edition(*entry.rec);
  stored.next_due = state.next_due;
  stored.last_execution = state.last_execution;
  stored.last_completion = state.last_completion;
  stored.execution_count = state.execution_count;
  stored.last_slot = entry.rec->time.last_run;
  stored.taken_wall = taken_wall(*entry.rec);
}

void RunBatch::taken(const sch_schedule_entry &entry, uint32_t due) {
  state_for(entry).last_taken = due;
}

uint64_t RunBatch::begin_run(const sch_schedule_entry &entry, uint32_t due, int64_t now_ms,
                             const std::string &asked_by) {
  RunState &stored = state_for(entry);
  stored.running = ++counters_.runs;
  stored.running_due = due;
  stored.executions_before = stored.execution_count;
  stored.running_since_ms = now_ms;
  std::memset(stored.asked_by, 0, sizeof stored.asked_by);
  host::put_text(asked_by, stored.asked_by);
  return stored.running;
}

void RunBatch::end_run(const sch_schedule_entry &entry) {
  RunState &stored = state_for(entry);
  stored.running = 0;
  stored.running_due = 0;
  stored.running_since_ms = 0;
}

void RunBatch::add(const sch_schedule_entry &entry, Outcome &outcome) {
  if (outcome.run == 0) {
    numbered_.push_back(&outcome);
    outcome.run = ++counters_.runs;
  }
  outcome.sequence = ++counters_.outcomes;
  if (failure_ == 0) require(add_to_history(entry, &state_for(entry), outcome));
}

uint32_t RunBatch::owe_report(const sch_schedule_entry &entry, uint64_t run) {
  const uint32_t number = ++counters_.reports;
  if (failure_ == 0) require(store_owed_report({number, run, &entry}));
  return number;
}

void RunBatch::settle_report(uint32_t number, const std::string &schedule) {
  sch_config_key key = {};
  schedule.copy(key.name, sizeof key.name - 1);
  if (failure_ == 0) require(delete_owed_report(number, key.name));
}

void RunBatch::set_status(const sch_job_entry &slot, const sch_runtime_job_status &status) {
  if (failure_ == 0) require(store_status(slot, status));
}

void RunBatch::write_states() {
  for (const auto &[entry, state] : states_)
    if (failure_ == 0) require(store_state(*entry, state));
}

void RunBatch::write_counters() {
  if (failure_ == 0) require(store(run_key(counters_key, 0, ""), &counters_, sizeof counters_));
}

host::Result<void> RunBatch::commit(time_t now) {
  counters_.last_seen = now;
  write_states();
  write_counters();
  if (failure_ == 0) {
    host::Result<void> committed = host::store_commit(pss_running_db);
    open_ = false;
    if (!committed) take_numbers_back();
    return committed;
  }
  return host::Error{failure_, host::store_last_error()};
}

uint32_t halve_histories() {
  if (const host::Result<void> begun = host::store_begin(pss_running_db); !begun) return begun.code();
  uint32_t failed = 0;
  for_each_schedule([&](const sch_schedule_entry &entry) {
    std::optional<RunState> state = read_run_state(entry);
    if (!state || state->end_page - state->first_page < 2) return;
    const uint32_t keep = state->first_page + (state->end_page - state->first_page) / 2;
    for (; failed == 0 && state->first_page < keep; state->first_page++)
      failed = delete_page(entry, state->first_page);
    if (failed == 0) failed = store_state(entry, *state);
  });
  if (failed == 0) return host::store_commit(pss_running_db).code();
  host::store_abort(pss_running_db);
  return failed;
}

}  // namespace service
