// SPDX-License-Identifier: Apache-2.0
// The starter's side of a launch: the new process on its way to the job's first instruction.
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
  int output = -1, channel = -1, group = -1;
};

void report(int channel, const Report &what);
void report_failure(int channel, Stage stage, int error);

// Never returns: the job runs, or the channel says why not. It ends with its parent.
[[noreturn]] void become_job(const Job &job, pid_t parent);

// Never returns: starts the job, and ends all that it started when the job has ended or the service has gone.
[[noreturn]] void keep_job(Job &job, pid_t service);

// As fork(), into the job's control group where it has one. sibling: a child of the caller's parent.
pid_t fork_job(const Job &job, bool sibling);

}  // namespace service
