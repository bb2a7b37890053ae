// SPDX-License-Identifier: Apache-2.0
#include "service/run/runner.h"

#include <algorithm>
#include <ctime>
#include <utility>

#include "service/limits.h"
#include "service/run/run.h"
#include "service/run/run_record.h"
#include "service/state/tables.h"

namespace service {
namespace {

bool has_jobs(const sch_schedule_rec &rec) {
  return std::any_of(std::begin(rec.jobs), std::end(rec.jobs), [](uint32_t word) { return word != 0; });
}

void record_no_run(Context &context, const sch_schedule_entry &entry, Reason reason, const std::string &why) {
  LogRecord record = log_record(entry, no_job, exit_status(reason), time(nullptr));
  record.remark = why;
  context.log.append(record);
  sch_syslog_raise(&syslog_msg_SCH_WARN, ("schedule " + record.schedule + ": " + why).c_str());
}

// From here on a crash leaves an interrupted run, also while it waits for its turn.
void note_begun(sch_schedule_entry &entry) {
  ScheduleState state = state_of(*entry.rec);
  state.running_since = static_cast<uint32_t>(time(nullptr));
  state.running_job = 0;
  set_state(entry, state);
}

}  // namespace

Runner::Runner(Options options) : options_(std::move(options)), processes_(options_.processes) {}
Runner::~Runner() = default;

void Runner::begin(Context &context, sch_schedule_entry &entry, time_t due) {
  const uintptr_t schedule = serial(entry);
  if (runs_.contains(schedule) || std::count(waiting_.begin(), waiting_.end(), schedule) != 0)
    return record_no_run(context, entry, Reason::skipped,
                         "skipped: the run due at " + time_text(due) + " came while the one before was under way");
  if (!has_jobs(*entry.rec))
    return record_no_run(context, entry, Reason::no_jobs, "nothing ran: no job is assigned to the schedule");
  note_begun(entry);
  waiting_.push_back(schedule);
  start_waiting(context);
}

// A run may end in its own beginning and come back here: then the loop that began it goes on.
void Runner::start_waiting(Context &context) {
  if (starting_) return;
  starting_ = true;
  while (!waiting_.empty() && runs_.size() < run_limit) {
    const uintptr_t next = waiting_.front();
    waiting_.pop_front();
    start(context, next);
  }
  starting_ = false;
}

void Runner::start(Context &context, uintptr_t schedule) {
  sch_schedule_entry *entry = schedule_by_serial(schedule);
  if (entry == nullptr) return;
  runs_[schedule] = std::make_unique<Run>(context, *this, *entry);
  runs_[schedule]->begin();  // may end it at once
}

// Called by the run as the last thing it does.
void Runner::ended(Context &context, uintptr_t schedule) {
  runs_.erase(schedule);
  start_waiting(context);
}

void Runner::stop_all(Context &context) {
  for (auto &[schedule, run] : runs_)
    run->ask_to_end();
  const std::deque<uintptr_t> waiting = std::exchange(waiting_, {});
  while (!runs_.empty())
    runs_.begin()->second->stop();
  for (const uintptr_t schedule : waiting)
    if (sch_schedule_entry *entry = schedule_by_serial(schedule); entry != nullptr) Run(context, *this, *entry).stop();
}

}  // namespace service
