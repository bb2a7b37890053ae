// SPDX-License-Identifier: Apache-2.0
// Account and session of a job's owner by PAM, in the keeper of its run: its modules may wait for servers, set limits
// for the process that calls them, and want the same process for the session's end. The library is loaded by the
// keepers that need it.
#pragma once

#include "service/process/job.h"

namespace service {

class PamSession {
 public:
  PamSession() = default;
  ~PamSession() { close(); }
  PamSession(const PamSession &) = delete;
  PamSession &operator=(const PamSession &) = delete;

  bool open(const Job &job);       // false: the channel says why
  void add_environment(Job *job);  // what the modules set beside the job's own
  void close();

 private:
  void *handle_ = nullptr;
};

}  // namespace service
