// SPDX-License-Identifier: Apache-2.0
// What all runs share: the starter of their processes, and control groups or keepers, which track what jobs start.
#pragma once

#include <sys/types.h>

#include <optional>
#include <string>
#include <vector>

#include "host/files/file_descriptor.h"
#include "host/result.h"
#include "service/process/groups.h"
#include "service/process/launch.h"
#include "service/process/run_groups.h"
#include "service/process/script.h"
#include "service/process/starter.h"
#include "service/process/task.h"

namespace service {

// A started job, with everything that it needs until its end.
struct Started {
  pid_t pid = -1;                // the keeper's if there is one, otherwise the job's
  bool kept = false;             // has a keeper
  unsigned pam_deadline_ms = 0;  // 0: without PAM
  host::FileDescriptor pidfd;    // readable when the process has ended
  host::FileDescriptor output;   // the job's standard output and error; non-blocking
  host::FileDescriptor channel;  // reports of the start and of the keeper, orders to the keeper
  RunGroup group;
  Script script;
};

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

  bool uses_pam() const { return pam_; }  // valid after end_left_overs()
  Groups &user_groups() { return user_groups_; }

 private:
  host::Result<void> settle();
  bool outlast_keepers();
  host::Result<void> launch(const Task &task, Started *started);
  bool finds_pam() const;
  Launch describe(const Task &task, const Started &started) const;
  host::Result<std::vector<char>> message_for(const Task &task, const Started &started);

  Options options_;
  std::string directory_;
  bool settled_ = false, pam_ = false;
  host::FileDescriptor lock_;
  Starter starter_;
  Groups user_groups_;
  std::optional<RunGroups> groups_;
};

}  // namespace service
