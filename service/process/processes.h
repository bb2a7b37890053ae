// SPDX-License-Identifier: Apache-2.0
// What all runs share: from where their processes come, and how what they start is kept together.
#pragma once

#include <sys/types.h>

#include <optional>
#include <string>

#include "host/files/file_descriptor.h"
#include "host/result.h"
#include "service/process/groups.h"
#include "service/process/launch.h"
#include "service/process/run_groups.h"
#include "service/process/script.h"
#include "service/process/starter.h"
#include "service/process/task.h"

namespace service {

// One process that the service waits for, and what is kept of its run until it ends.
struct Started {
  pid_t pid = -1;  // the job's, or its keeper's
  bool kept = false;
  unsigned pam_deadline_ms = 0;  // 0: without PAM
  host::FileDescriptor pidfd;    // readable when it has ended
  host::FileDescriptor output;   // what the job writes to either stream; does not block
  host::FileDescriptor channel;  // reports of the start and of the keeper, orders to the keeper
  RunGroup group;
  Script script;
};

class Processes {
 public:
  struct Options {
    std::string starter = {};          // the program; empty: see Starter
    std::string directory = {};        // for its files; empty: the run directory of the host's paths
    bool groups = true;                // control groups where one is delegated
    std::string group_directory = {};  // a group to use instead of a delegated one
    bool pam = true;                 // account and session for a job of another user, where PAM has its service's file
    std::string pam_directory = {};  // of such files; empty: the system's
    unsigned pam_deadline_ms = 10000;  // its modules may ask servers that do not answer
  };

  explicit Processes(Options options);

  // Before anything runs: what an earlier service left behind is ended and waited for, with a bound. An error says what
  // could not be ended; the service can go on.
  host::Result<void> end_left_overs();

  host::Result<Started> start(const Task &task);

  bool uses_pam() const { return pam_; }  // known when what was left over has ended
  bool uses_groups() const { return groups_.has_value(); }
  Groups &user_groups() { return user_groups_; }

 private:
  host::Result<void> settle();
  bool outlast_keepers();
  host::Result<void> launch(const Task &task, Started *started);
  bool finds_pam() const;
  Launch describe(const Task &task, const Started &started) const;

  Options options_;
  std::string directory_;
  bool settled_ = false, pam_ = false;
  host::FileDescriptor lock_;
  Starter starter_;
  Groups user_groups_;
  std::optional<RunGroups> groups_;
};

}  // namespace service
