// SPDX-License-Identifier: Apache-2.0
// The runs under way. A run's jobs are executed one after the other by ascending id, as the schedule's owner. Runs
// beyond the limits wait until it is their owner's turn.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "host/loop/watch.h"
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

  // Adds a run whose intent is stored. start_waiting() starts those whose turn it is, or none while memory is short.
  void add(const sch_schedule_entry &entry, RunTicket ticket);
  void start_waiting();

  // A moment before the schedule is due: has its first job's process made, which waits for the run's start.
  void prepare(const sch_schedule_entry &entry);

  host::Result<void> kill(uint64_t number, const std::string &asked_by);  // err_no_such_run
  void stop_all();  // when the service ends: ends and records every run

  // For show commands.
  struct UnderWay {
    RunTicket ticket;
    std::string schedule, owner, job;  // job: empty if the run waits or is between two jobs
    uint32_t owner_tag;
    bool waits;
  };
  std::vector<UnderWay> list() const;
  size_t under_way() const { return begun() + waiting(); }
  size_t begun() const { return runs_.size(); }
  size_t waiting() const { return turn_.waiting(); }

  Processes &processes() { return processes_; }
  void use(std::shared_ptr<const Settings> settings);  // for waiting runs and for jobs that start from now on

 private:
  void start(Waiting waiting);
  void start_later();
  void processes_ended(uint32_t owner_tag);
  void ended(uint64_t number);
  void end_unstarted(Waiting waiting, Reason reason, const std::string &remark);

  Recorder &recorder_;
  RunOptions options_;
  Processes processes_;
  Turn<Waiting> turn_;
  std::map<uint64_t, std::unique_ptr<Run>> runs_;  // by number
  std::map<uint64_t, UnderWay> unstarted_;         // ended before their turn, until that is stored
  size_t unrecorded_ = 0;                          // of these, without processes but with an outcome not stored yet
  bool starting_ = false;
  host::Watch again_;
};

}  // namespace service
