// SPDX-License-Identifier: Apache-2.0
// PAM's account check and session for a job's owner. They take place in the job's keeper: modules may wait for servers,
// set limits of the calling process, and need the same process to close the session. Only keepers that need it load the
// library.
#pragma once

#include "service/process/job.h"

namespace service {

class PamSession {
 public:
  PamSession() = default;
  ~PamSession() { close(); }
  PamSession(const PamSession &) = delete;
  PamSession &operator=(const PamSession &) = delete;

  bool open(const Job &job);       // false: failed, and reported by the channel
  void add_environment(Job *job);  // adds the variables that the modules have set
  void close();

 private:
  void *handle_ = nullptr;
};

}  // namespace service
