// SPDX-License-Identifier: Apache-2.0
// The starter's side of a launch: what a new process does up to the job's first instruction.
#pragma once

#include <array>

#include "service/process/launch.h"

namespace service {

struct Job {
  const Launch *launch = nullptr;
  const gid_t *groups = nullptr;
  const char *user = nullptr;
  const char *home = nullptr;
  const char *pam_directory = nullptr;   // empty: the system's
  std::array<char *, 3> arguments = {};  // the interpreter and the text's file
  std::array<char *, launch_strings_max + 1> environment = {};
  char **working_directory = nullptr;  // the environment's PWD
  int output = -1, channel = -1, gate = -1, group = -1;
};

void report(int channel, const Report &what);
void report_failure(int channel, Stage stage, int error);

// Never returns: executes the job, or reports by the channel why that failed. The process is killed when its parent
// ends.
[[noreturn]] void become_job(const Job &job, pid_t parent);

// Never returns: starts the job, and when the job or the service has ended kills everything that the job started.
[[noreturn]] void keep_job(Job &job, pid_t service);

// As fork(), into the job's control group if it has one. sibling: the new process is a child of the caller's parent.
pid_t fork_job(const Job &job, bool sibling);

}  // namespace service
