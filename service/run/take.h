// SPDX-License-Identifier: Apache-2.0
// The due times that are taken together: decides for each whether it runs or is missed or skipped, stores all of that
// in one commit, and only then starts the runs.
#pragma once

#include <cstdint>
#include <ctime>
#include <utility>
#include <vector>

#include "schedcli.h"
#include "service/limits.h"
#include "service/run/recorder.h"
#include "service/run/runner.h"

namespace service {

struct LatePolicy {
  time_t late_grace_s = late_limit_s;  // noticed later than this, a due time is missed
  bool run_once = false;               // then the last missed due time is run after all,
  time_t window_s = missed_window_s;   // unless it was longer ago than this
};

class Take {
 public:
  Take(const LatePolicy &policy, int64_t now_ms) : policy_(policy), now_ms_(now_ms), now_(now_ms / 1000) {}

  void take(sch_schedule_entry &entry);  // all its due times up to now; sets the next due time in memory

  // False: nothing was stored, memory is as before, and the due times are still to be taken.
  bool store(Recorder &recorder);
  void begin(Runner &runner);  // the runs that were stored

 private:
  struct Beginning {
    sch_schedule_entry *entry;
    uint32_t due;
    uint64_t number = 0;
  };
  struct Missed {
    uint32_t count = 0, first = 0, last = 0, before_last = 0;
  };

  Missed take_missed(sch_schedule_entry &entry) const;
  void take_one(sch_schedule_entry &entry, uint32_t due);
  void tell(const sch_schedule_entry &entry, Reason reason, uint32_t due, std::string remark);
  void tell_missed(const sch_schedule_entry &entry, const Missed &missed);

  const LatePolicy policy_;
  const int64_t now_ms_;
  const time_t now_;
  std::vector<std::pair<sch_schedule_entry *, sch_schedule_rec>> before_;
  std::vector<std::pair<const sch_schedule_entry *, uint32_t>> taken_;  // the latest due time of each
  std::vector<Beginning> beginnings_;
  std::vector<RunStep> steps_;
};

}  // namespace service
