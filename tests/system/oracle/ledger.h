// SPDX-License-Identifier: Apache-2.0
// What was promised of the runs, and whether what is seen keeps it.
#pragma once

#include <map>
#include <set>
#include <string>
#include <vector>

#include "tests/system/oracle/observed.h"

namespace oracle {

// What is wrong, a line each.
using Complaints = std::vector<std::string>;

class Ledger {
 public:
  // A schedule that is due at `first` and each `period_s` after it; 0: only when it is asked for.
  void add_schedule(const std::string &name, std::set<std::string> jobs, time_t first, time_t period_s);

  void promised(const std::string &schedule, uint64_t run) { schedules_.at(schedule).promised.insert(run); }
  void perhaps(const std::string &schedule) { schedules_.at(schedule).perhaps++; }  // asked for, and not answered
  void killed(uint64_t run) { killed_.insert(run); }                                // and acknowledged
  bool was_killed(uint64_t run) const { return killed_.contains(run); }
  void perhaps_cleared() { log_was_cleared_ = true; }
  void cleared();                                                              // of what was judged before
  void switched_off(const std::string &schedule, time_t after, time_t until);  // nothing may become of it then
  bool was_off(const std::string &schedule, time_t due) const { return schedules_.at(schedule).off.contains(due); }

  // Of a service in which no run is under way, and of which every run that is not known yet was seen with its jobs.
  // `ran`: how often each job of each schedule was begun, as the jobs themselves have it.
  struct Seen {
    Observed shown;
    std::vector<SeenRun> news;
    std::map<std::pair<std::string, std::string>, uint64_t> ran;
    std::set<std::string> marks;  // that successful jobs have left where they ran
    time_t now = 0;
  };
  bool knows(uint64_t run) const { return runs_.contains(run); }
  Complaints judge(const Seen &seen);

  size_t runs() const { return runs_.size(); }
  std::map<std::string, size_t> outcomes() const;  // how many there were of each word

 private:
  struct Expected {
    std::set<std::string> jobs;
    time_t next = 0, period_s = 0;  // the first due time that is not accounted for
    std::set<time_t> taken;         // later ones that are
    std::set<time_t> off;           // that it was switched off for, also those before
    std::set<uint64_t> promised;
    unsigned perhaps = 0;  // runs that may be there or not
    uint64_t newest = 0;
    int32_t executions = 0;
  };
  using Key = std::pair<std::string, std::string>;  // schedule and job

  void add(const SeenRun &run, Complaints *complaints);
  void account_for(Expected *expected, const SeenRun &run, Complaints *complaints) const;
  void judge_due(time_t now, Complaints *complaints);
  void judge_kills(const SeenRun &run, Complaints *complaints);
  void judge_promises(Complaints *complaints);
  void judge_history(const Observed &shown, Complaints *complaints) const;
  void judge_log(const Seen &seen, Complaints *complaints);
  void judge_statuses(const Observed &shown, Complaints *complaints) const;
  void judge_jobs(const Seen &seen, Complaints *complaints);

  std::map<std::string, Expected> schedules_;
  std::map<uint64_t, SeenRun> runs_;
  std::map<Key, std::vector<uint32_t>> codes_;  // of every outcome so far, in order
  std::map<Key, uint64_t> certain_, possible_;  // beginnings of the job, by its outcomes
  std::map<Key, size_t> cleared_;               // so many of the first the log does not show any more
  std::set<uint64_t> killed_;
  bool log_was_cleared_ = false;
};

}  // namespace oracle
