// SPDX-License-Identifier: Apache-2.0
// The service's side of schedd-starter, the process that creates all jobs' processes.
#pragma once

#include <sys/types.h>

#include <optional>
#include <span>
#include <string>

#include "host/files/file_descriptor.h"
#include "host/loop/watch.h"
#include "host/result.h"
#include "service/process/launch.h"

namespace service {

class Starter {
 public:
  // If `program` is empty: schedd-starter beside this program, otherwise where it is installed.
  explicit Starter(std::string program) : program_(std::move(program)) {}
  ~Starter() { end(); }
  Starter(const Starter &) = delete;
  Starter &operator=(const Starter &) = delete;

  // Starts it unless it runs. It and every keeper hold the lock's descriptor until they end.
  host::Result<void> begin(int lock);
  host::Result<pid_t> launch(std::span<const char> message, std::span<const int> descriptors);

 private:
  // A process that was created in advance, so that a due run does not wait for a fork.
  struct Spare {
    host::FileDescriptor channel;
    pid_t pid = -1;
  };

  host::Result<pid_t> exchange(std::span<const char> message, std::span<const int> descriptors);
  std::optional<pid_t> launch_spare(std::span<const char> message, std::span<const int> descriptors);
  void make_spare();
  void end_spare();
  host::Error broken(const std::string &what);
  void end();

  std::string program_;
  host::FileDescriptor channel_;
  pid_t pid_ = -1;
  Spare spare_;
  host::Watch make_spare_;
};

}  // namespace service
