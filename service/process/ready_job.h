// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <vector>

#include "host/files/file_descriptor.h"
#include "service/process/started.h"
#include "service/process/task.h"

namespace service {

// The process of a job that will be due in a moment: made and told everything, it waits at its gate.
class ReadyJob {
 public:
  // told: the message that it was started with.
  ReadyJob(const Task &task, std::vector<char> told, Started started, host::FileDescriptor gate);
  ~ReadyJob();  // a job that has not begun never begins
  ReadyJob(const ReadyJob &) = delete;
  ReadyJob &operator=(const ReadyJob &) = delete;

  const Started &started() const { return started_; }
  // Whether a process that is started for this task now would be told the same.
  bool serves(const Task &task, const std::vector<char> &told) const;
  std::optional<Started> begin();  // nullopt: the process has ended meanwhile

 private:
  std::string text_;
  Limits limits_;
  std::vector<char> told_;
  Started started_;
  host::FileDescriptor gate_;
};

}  // namespace service
