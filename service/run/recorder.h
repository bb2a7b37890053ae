// SPDX-License-Identifier: Apache-2.0
// What has happened, made durable: outcomes that come in together are one commit, and only then the job log and the
// system log are told and the run goes on. A commit that failed is tried again until it is through.
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

  void load();  // at the start: the numbers go on from where they stood

  // Durable within a few milliseconds, with what else comes in until then. `recorded` is called afterwards.
  void record(RunStep step, Recorded recorded = {});

  // One durable step, now: `fill`, these steps and all that wait. A failure has changed nothing; `steps` and what
  // `fill` does are the caller's to repeat, when `on_recovery` tells.
  host::Result<void> commit(std::vector<RunStep> steps, const Fill &fill);

  // True: the last commit failed, and it is not yet time to try again. Nothing new is begun until then.
  bool failing() const { return failures_ != 0 && timer_.active(); }
  void on_recovery(std::function<void()> ask) { ask_again_ = std::move(ask); }

  // Told of every step once it is stored, after the logs.
  using Told = std::function<void(const RunStep &)>;
  void on_stored(Told told) { told_ = std::move(told); }

  // Whether somebody is to get a report for what this step ends: then it is noted with the step, under step.report,
  // until the step has been told and a later commit takes the note out.
  using OwesReport = std::function<bool(const RunStep &)>;
  void on_report(OwesReport owes) { owes_report_ = std::move(owes); }
  // One that an earlier process had noted has been seen to.
  void settle_report(uint32_t number, const std::string &schedule) { settled_.push_back({number, schedule}); }

  void flush();  // the service ends: what waits, once more
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
  std::vector<Settled> settled_;  // noted still, until the next commit
  host::Watch timer_;
};

}  // namespace service
