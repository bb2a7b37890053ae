// SPDX-License-Identifier: Apache-2.0
// The messages between service, starter and keeper. They are plain structures, as all three are of one build.
//
// The service sends the starter a Launch with groups and strings behind it, and the descriptors that the new process
// needs. The starter answers with a Launched. Afterwards the new process sends Reports through the run's own channel.
//
// A Launch with `spare` set makes a process in advance. It has nothing behind it and one descriptor, by which the new
// process is sent its real Launch later.
#pragma once

#include <sys/types.h>

#include <csignal>
#include <cstddef>
#include <cstdint>

namespace service {

inline constexpr int starter_channel = 3;             // the starter's end, when it begins
inline constexpr int starter_lock = 4;                // held open by it and by every keeper
inline constexpr int give_up_signal = SIGUSR2;        // to a keeper whose PAM modules do not answer
inline constexpr size_t launch_size_max = 96 * 1024;  // a message: groups, names and paths; never a job's text
inline constexpr size_t launch_groups_max = 8192;
inline constexpr size_t launch_strings_max = 64;

struct Launch {
  uint64_t data_limit;  // bytes; 0: none
  uint32_t task_limit;  // 0: none
  uint32_t keeper;      // 1: a keeper stands between the service and the job
  uint32_t change_user;
  uid_t uid;
  gid_t gid;
  int32_t nice;
  uint32_t spare;           // 1: made in advance, without a job yet
  uint32_t in_group;        // 1: a control group's directory is among the descriptors
  uint32_t pam;             // 1: account and session by PAM, in the keeper
  uint32_t leave_daemons;   // 1: the keeper ends when the job has
  uint32_t waits;           // 1: the job begins when a byte comes through the gate, and never if that is closed
  uint32_t group_count;     // gid_t each, behind this record
  uint32_t variable_count;  // of the environment. NUL-terminated strings follow the groups: user, home, PAM's
                            // directory, interpreter, script, and the variables
};

// The descriptors are, in this order: output, channel, gate (if it waits), control group's directory (if it has one).
inline constexpr size_t launch_descriptors_max = 4;

inline size_t descriptor_count(const Launch &launch) {
  return 2 + (launch.waits != 0 ? 1u : 0u) + (launch.in_group != 0 ? 1u : 0u);
}

struct Launched {
  pid_t pid;      // of the job, or of its keeper; -1: see error
  int32_t error;  // errno
};

// The step at which a start failed.
enum class Stage : uint32_t {
  process,  // fork failed
  descriptors,
  limits,
  identity,     // cannot take on the owner's identity
  irrevocable,  // could become root again
  orphaned,     // its parent has ended
  directory,    // neither the home directory nor / can be entered
  interpreter,
  account,  // PAM refused the account; Report::text says why
  session,  // PAM could not open a session
};

struct Report {
  enum class Kind : uint32_t { failed, begun, ended };
  Kind kind;
  Stage stage;
  int32_t error;        // errno of `failed`
  int32_t wait_status;  // of `ended`: the job's
  uint32_t killed;      // of `ended`: number of processes that the job had left behind and that were killed
  char text[200];       // of `failed`: what PAM says
};

// From the service to a keeper.
struct KeeperOrder {
  int32_t signal;  // to be sent to everything that the job has started
};

}  // namespace service
