// SPDX-License-Identifier: Apache-2.0
// Schedules under way: their jobs in ascending id, one after the other, each as the schedule's owner.
#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <string>

#include "schedcli.h"
#include "service/process/processes.h"
#include "service/request/context.h"

namespace service {

class Run;

class Runner {
 public:
  struct Options {
    std::string interpreter = "/bin/sh";
    bool change_user = false;  // the service runs as root; otherwise jobs run as the service's own user
    Processes::Options processes = {};
  };

  explicit Runner(Options options);
  ~Runner();

  // The schedule is due: starts or queues its run, or records why there is none. The caller has armed it already and
  // stores its record.
  void begin(Context &context, sch_schedule_entry &entry, time_t due);

  void stop_all(Context &context);  // the service ends: every run is ended and recorded
  size_t under_way() const { return runs_.size() + waiting_.size(); }
  const Options &options() const { return options_; }
  Processes &processes() { return processes_; }

 private:
  friend class Run;
  void start_waiting(Context &context);
  void start(Context &context, uintptr_t schedule);
  void ended(Context &context, uintptr_t schedule);

  Options options_;
  Processes processes_;
  std::map<uintptr_t, std::unique_ptr<Run>> runs_;  // by the schedule's serial
  std::deque<uintptr_t> waiting_;
  bool starting_ = false;
};

}  // namespace service
