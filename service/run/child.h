// SPDX-License-Identifier: Apache-2.0
// The process of one job, from fork to exec: everything of the service's is left behind, and every right but the
// owner's.
#pragma once

#include <sys/types.h>

#include <optional>
#include <string>

#include "host/files/file_descriptor.h"
#include "host/security/security.h"

namespace service {

struct Task {
  std::string interpreter;  // gets the text as a file, whose name is its only argument
  std::string schedule, job, text;
  host::User owner;
  bool change_user = false;  // the service runs as root
};

struct Child {
  pid_t pid = -1;               // leads a session and a process group of its own
  host::FileDescriptor pidfd;   // readable when it has ended
  host::FileDescriptor output;  // what it writes to either stream; does not block
};

// What fails after the fork is said in the output, and the exit code tells which: see Reason.
std::optional<Child> start_child(const Task &task, std::string *error);

}  // namespace service
