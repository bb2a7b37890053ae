// SPDX-License-Identifier: Apache-2.0
// Schedules under way: their jobs in ascending id, one after the other, each as the schedule's owner. Runs that find no
// place wait for their owner's turn.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "host/result.h"
#include "service/process/processes.h"
#include "service/run/recorder.h"
#include "service/run/run.h"
#include "service/run/turn.h"

namespace service {

class Runner {
 public:
  struct Waiting {
    RunStep schedule;
    RunTicket ticket;
  };

  struct Options {
    std::shared_ptr<const Settings> settings = std::make_shared<const Settings>();
    bool change_user = false;  // the service runs as root; otherwise jobs run as the service's own user
    Processes::Options processes = {};
  };

  Runner(Recorder &recorder, const Options &options);
  ~Runner();

  // A run whose intent is stored begins when its turn comes: start_waiting() sees to it.
  void add(const sch_schedule_entry &entry, RunTicket ticket);
  void start_waiting();

  host::Result<void> kill(uint64_t number, const std::string &asked_by);  // err_no_such_run
  void stop_all();  // the service ends: every run is ended and recorded

  // For those who show them.
  struct UnderWay {
    RunTicket ticket;
    std::string schedule, owner, job;  // no job: it waits, or is between two
    uint32_t owner_tag;
    bool waits;
  };
  std::vector<UnderWay> list() const;
  size_t under_way() const { return begun() + waiting(); }
  size_t begun() const { return runs_.size(); }
  size_t waiting() const { return turn_.waiting(); }

  Processes &processes() { return processes_; }
  void use(std::shared_ptr<const Settings> settings);  // from now on: whose turn it is, and the jobs that start

 private:
  void start(Waiting waiting);
  void processes_ended(uint32_t owner_tag);
  void ended(uint64_t number);
  void end_unstarted(Waiting waiting, Reason reason, const std::string &remark);

  Recorder &recorder_;
  RunOptions options_;
  Processes processes_;
  Turn<Waiting> turn_;
  std::map<uint64_t, std::unique_ptr<Run>> runs_;  // by number
  size_t unrecorded_ = 0;                          // of them: no process any more, but the last outcome is not stored
  bool starting_ = false;
};

}  // namespace service
