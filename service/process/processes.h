// SPDX-License-Identifier: Apache-2.0
// What all runs share: the starter of their processes, and control groups or keepers, which track what jobs start.
#pragma once

#include <sys/types.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/files/file_descriptor.h"
#include "host/result.h"
#include "service/process/groups.h"
#include "service/process/launch.h"
#include "service/process/ready_job.h"
#include "service/process/run_groups.h"
#include "service/process/started.h"
#include "service/process/starter.h"
#include "service/process/task.h"

namespace service {

class Processes {
 public:
  struct Options {
    std::string starter = {};          // the program; empty: see Starter
    std::string directory = {};        // for its files; empty: the run directory of the host's paths
    bool groups = true;                // use control groups if one was delegated to the service
    std::string group_directory = {};  // a group to use instead of a delegated one
    bool pam = true;                   // account check and session for other users' jobs, if PAM has our service file
    std::string pam_directory = {};    // of PAM's service files; empty: the system's
    unsigned pam_deadline_ms = 10000;  // for modules that ask servers which do not answer
  };

  explicit Processes(Options options);

  // Before anything runs: kills the processes that an earlier service has left, and waits for their end for a bounded
  // time. After an error, which says what still runs, the service can go on.
  host::Result<void> end_left_overs();

  host::Result<Started> start(const Task &task);

  // A moment before a task is due: makes its process, which begins when start() is called with this very task. There is
  // one at a time; a failure is harmless, as start() then makes the process. Without effect where PAM is to be asked
  // first.
  void prepare(const Task &task);

  bool uses_pam() const { return pam_; }  // valid after end_left_overs()
  Groups &user_groups() { return user_groups_; }

 private:
  host::Result<void> settle();
  bool outlast_keepers();
  void describe_start(const Task &task, Started *started) const;
  // Fills `started`, and returns what the process was told. gate: -1 if it does not wait.
  host::Result<std::vector<char>> make(const Task &task, int gate, Started *started);
  host::Result<std::vector<char>> launch(const Task &task, int gate, Started *started);
  std::optional<Started> begin_ready(const Task &task);
  bool finds_pam() const;
  Launch describe(const Task &task, const Started &started, bool waits) const;
  host::Result<std::vector<char>> message_for(const Task &task, const Started &started, bool waits);

  Options options_;
  std::string directory_;
  bool settled_ = false, pam_ = false;
  host::FileDescriptor lock_;
  Starter starter_;
  Groups user_groups_;
  std::optional<RunGroups> groups_;
  std::unique_ptr<ReadyJob> ready_;
  host::Watch ready_timer_;
};

}  // namespace service
