// SPDX-License-Identifier: Apache-2.0
// Makes the steps of runs durable. Outcomes that arrive together share one commit; only after it they are reported to
// the job log and the system log, and their runs go on. A failed commit is retried until it succeeds.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "host/loop/watch.h"
#include "service/joblog/joblog.h"
#include "service/run/run_batch.h"
#include "service/run/run_step.h"

namespace service {

class Recorder {
 public:
  using Recorded = std::function<void()>;
  using Fill = std::function<void(RunBatch &)>;

  explicit Recorder(JobLog &log) : log_(log) {}

  void load();  // at the service's start: reads the counters, so that numbers go on

  // Stores the step within a few milliseconds, together with others that arrive until then, and then calls `recorded`.
  void record(RunStep step, Recorded recorded = {});

  // Stores these steps, those that wait and what `fill` adds, in one commit and at once. After a failure nothing has
  // changed: the caller repeats the call when `on_recovery` calls back.
  host::Result<void> commit(std::vector<RunStep> steps, const Fill &fill);

  // The last commit failed and is not yet to be retried; until then nothing new may begin.
  bool failing() const { return failures_ != 0 && timer_.active(); }
  void on_recovery(std::function<void()> ask) { ask_again_ = std::move(ask); }

  // Called with every step once it is stored, after the logs have it.
  using Told = std::function<void(const RunStep &)>;
  void on_stored(Told told) { told_ = std::move(told); }

  // Says whether a report of the run that this step ends is to be mailed. Then the report is noted with the step, as
  // number step.report; after `told` has been called, a later commit removes the note.
  using OwesReport = std::function<bool(const RunStep &)>;
  void on_report(OwesReport owes) { owes_report_ = std::move(owes); }
  // For a report that an earlier process had noted and that is queued by now.
  void settle_report(uint32_t number, const std::string &schedule) { settled_.push_back({number, schedule}); }

  void flush();  // when the service ends: tries once to store what waits
  size_t waiting() const { return queue_.size(); }
  time_t last_seen() const { return static_cast<time_t>(counters_.last_seen); }  // before this start, or at a commit

 private:
  struct Waiting {
    RunStep step;
    Recorded recorded;
  };

  struct Settled {
    uint32_t number;
    std::string schedule;
  };

  void arm_timer();
  void put(RunBatch &batch, RunStep *step) const;
  void commit_waiting();
  host::Result<void> store(const Fill &fill);
  void tell(const std::vector<Waiting> &stored);
  void failed(const host::Error &error);
  void announce(const RunStep &step);  // to the logs

  JobLog &log_;
  RunCounters counters_ = {};
  std::vector<Waiting> queue_;
  unsigned failures_ = 0;  // in a row
  std::function<void()> ask_again_;
  Told told_;
  OwesReport owes_report_;
  std::vector<Settled> settled_;  // whose notes the next commit removes
  host::Watch timer_;
};

}  // namespace service
