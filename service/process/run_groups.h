// SPDX-License-Identifier: Apache-2.0
// A control group (version 2) for each run, below a group that was delegated to the service: the kernel keeps count of
// what a run started, whatever it does to leave, and ends all of it by one word.
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
  bool signal(int number) const;  // false: it has nobody, or cannot be read
  void kill() const;
  bool remove();               // false: somebody is still in it
  bool out_of_memory() const;  // the kernel ended somebody in it for that

 private:
  std::string path_;
  host::FileDescriptor directory_;
};

class RunGroups {
 public:
  // The group that a supervisor delegated to this process; none: there is none, or it is not to be used.
  static std::optional<RunGroups> delegated();
  // `directory` is a group that this process may use as it likes. Made where it is missing.
  static host::Result<RunGroups> below(const std::string &directory);

  host::Result<RunGroup> make(const Limits &limits, bool leave_daemons);
  // What runs of an earlier service left; waits for their end, with a bound. False: somebody is still there.
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

// The calls below are for tests.
struct GroupMount {
  std::string mounted_at, root;
};
std::optional<GroupMount> group_mount(const std::string &mountinfo);
std::optional<std::string> own_group(const std::string &cgroup);  // of /proc/self/cgroup

}  // namespace service
