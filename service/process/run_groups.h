// SPDX-License-Identifier: Apache-2.0
// A control group (version 2) for each run, below a group that was delegated to the service. No process that the run
// starts can leave it, and all of them can be killed at once.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "host/files/file_descriptor.h"
#include "host/result.h"
#include "service/process/limits.h"

namespace service {

class RunGroup {
 public:
  RunGroup() = default;
  RunGroup(std::string path, host::FileDescriptor directory)
      : path_(std::move(path)), directory_(std::move(directory)) {}
  RunGroup(RunGroup &&other) noexcept
      : path_(std::exchange(other.path_, {})), directory_(std::move(other.directory_)) {}
  RunGroup &operator=(RunGroup &&other) noexcept {
    std::swap(path_, other.path_);
    std::swap(directory_, other.directory_);
    return *this;
  }
  ~RunGroup() { remove(); }

  explicit operator bool() const { return !path_.empty(); }
  int directory() const { return directory_.get(); }  // for CLONE_INTO_CGROUP
  std::vector<pid_t> processes() const;
  bool signal(int number) const;  // false: it has no processes, or they cannot be read
  void kill() const;
  bool remove();               // false: a process is still in it
  bool out_of_memory() const;  // whether the kernel has killed a process in it for want of memory

 private:
  std::string path_;
  host::FileDescriptor directory_;
};

class RunGroups {
 public:
  // Below the group that a supervisor has delegated to this process; nullopt if there is none or it is not usable.
  static std::optional<RunGroups> delegated();
  // Below `directory`, a group that belongs to this process. Created if it is missing.
  static host::Result<RunGroups> below(const std::string &directory);

  host::Result<RunGroup> make(const Limits &limits, bool leave_daemons);
  // Kills the processes that runs of an earlier service have left, and waits for their end for a bounded time. False:
  // some are still there.
  bool end_left_overs();
  bool limits_memory() const { return memory_; }
  bool limits_tasks() const { return tasks_; }

 private:
  explicit RunGroups(std::string directory) : directory_(std::move(directory)) {}
  void enable_controllers();

  std::string directory_;
  uint64_t made_ = 0;
  bool memory_ = false, tasks_ = false, cpu_ = false;
};

// Parsers for files of /proc/self, declared for their tests.
struct GroupMount {
  std::string mounted_at, root;
};
std::optional<GroupMount> group_mount(const std::string &mountinfo);
std::optional<std::string> own_group(const std::string &cgroup);

}  // namespace service
