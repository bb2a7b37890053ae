// SPDX-License-Identifier: Apache-2.0
#include "service/process/ready_job.h"

#include <sys/socket.h>
#include <unistd.h>

#include <csignal>
#include <utility>

#include "host/child.h"

namespace service {

ReadyJob::ReadyJob(const Task &task, std::vector<char> told, Started started, host::FileDescriptor gate)
    : text_(task.text),
      limits_(task.limits),
      told_(std::move(told)),
      started_(std::move(started)),
      gate_(std::move(gate)) {}

// The gate first: a keeper's job has no other parent that would end it.
ReadyJob::~ReadyJob() {
  gate_ = host::FileDescriptor();
  if (started_.pid <= 0) return;
  kill(started_.pid, SIGKILL);
  host::collect_child(started_.pid);
}

bool ReadyJob::serves(const Task &task, const std::vector<char> &told) const {
  return task.text == text_ && task.limits == limits_ && told == told_;
}

std::optional<Started> ReadyJob::begin() {
  constexpr char go = 1;
  if (send(gate_.get(), &go, sizeof go, MSG_NOSIGNAL) != sizeof go) return std::nullopt;
  Started begun = std::move(started_);
  started_.pid = -1;
  return begun;
}

}  // namespace service
