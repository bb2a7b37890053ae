// SPDX-License-Identifier: Apache-2.0
// What service, starter and keeper say to each other, by value: all of them are one build on one machine.
//
// The service sends the starter a Launch with the strings behind it, and the descriptors that the new process needs.
// The starter answers with a Launched. What happens after that comes through the run's own channel, as Reports.
//
// A Launch of a spare has nothing behind it and one descriptor: where the process that is made now is told later, by
// such a message, what to become.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdint>

namespace service {

inline constexpr int starter_channel = 3;             // the starter's end, when it begins
inline constexpr int starter_lock = 4;                // held open by it and by every keeper
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
  uint32_t spare;           // 1: what it becomes is told later
  uint32_t in_group;        // 1: a control group's directory is among the descriptors
  uint32_t pam;             // 1: account and session by PAM, in the keeper
  uint32_t leave_daemons;   // 1: the keeper ends when the job has
  uint32_t group_count;     // gid_t each, behind this record
  uint32_t variable_count;  // then strings, each with its null: user, home, PAM's directory, interpreter, text's file,
                            // environment
};

enum LaunchDescriptor { launch_output, launch_channel, launch_group };

struct Launched {
  pid_t pid;      // of the job, or of its keeper; -1: see error
  int32_t error;  // errno
};

// Where a start failed.
enum class Stage : uint32_t {
  process,  // there is no further process
  descriptors,
  limits,
  identity,     // it cannot become its owner
  irrevocable,  // it could become root again
  orphaned,     // the service has gone meanwhile
  directory,    // not even /
  interpreter,
  account,  // PAM refuses the account; the text says why
  session,  // PAM opens no session
};

struct Report {
  enum class Kind : uint32_t { failed, begun, ended };
  Kind kind;
  Stage stage;
  int32_t error;        // errno of `failed`
  int32_t wait_status;  // of `ended`: the job's own
  uint32_t killed;      // of `ended`: processes that it had left behind
  char text[200];       // of `failed`: what PAM says
};

// The other way, from the service to a keeper.
struct KeeperOrder {
  int32_t signal;  // to everything that the run started
};

}  // namespace service
