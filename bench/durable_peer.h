// SPDX-License-Identifier: Apache-2.0
// The floor of a durable request: a process of its own, where the service is, that commits to LMDB and then answers.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <string>

namespace bench {

class DurablePeer {
 public:
  struct Sizes {
    std::size_t asked, answered, job_text;
  };

  // Its store holds so many schedules, as the depth of its tree costs pages in any program.
  DurablePeer(const std::string &path, const Sizes &sizes, int schedules);
  ~DurablePeer();
  DurablePeer(const DurablePeer &) = delete;
  DurablePeer &operator=(const DurablePeer &) = delete;

  void ask(char letter) const;

 private:
  Sizes sizes_;
  int socket_ = -1;
  pid_t process_ = 0;
};

}  // namespace bench
