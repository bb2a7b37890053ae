// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sys/wait.h>

#include <cerrno>

namespace host {

// Waits for the end of a child process. Returns its wait status; 0 if there is no such child.
inline int collect_child(pid_t child) {
  int status = 0;
  while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
  }
  return status;
}

}  // namespace host
