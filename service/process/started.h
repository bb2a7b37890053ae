// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sys/types.h>

#include "host/files/file_descriptor.h"
#include "service/process/run_groups.h"
#include "service/process/script.h"

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

}  // namespace service
