// SPDX-License-Identifier: Apache-2.0
#include "service/run/job_process.h"

#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>

#include "service/run/outcome.h"

namespace service {

std::unique_ptr<JobProcess> JobProcess::start(const Task &task, Done done, std::string *error, unsigned time_limit_s) {
  std::optional<Child> child = start_child(task, error);
  if (!child) return nullptr;
  std::unique_ptr<JobProcess> process(new JobProcess(std::move(*child), std::move(done)));
  process->watch(time_limit_s);
  return process;
}

JobProcess::~JobProcess() {
  if (child_.pid > 0) reap();
}

void JobProcess::watch(unsigned time_limit_s) {
  output_ = host::Watch::readable(child_.output.get(), [this] { take_output(); });
  exit_ = host::Watch::readable(child_.pidfd.get(), [this] { finish(); });
  timer_ = host::Watch::after_ms(time_limit_s * 1000, [this, time_limit_s] { out_of_time(time_limit_s); });
}

void JobProcess::keep(const char *bytes, size_t size) {
  result_.output_total += size;
  result_.output.append(bytes, std::min(size, capture_limit - std::min(capture_limit, result_.output.size())));
}

// Bounded, yet more than a pipe holds: a job that prints without end must not keep the service from its other work.
void JobProcess::take_output() {
  char buffer[16384];
  for (int round = 0; round < 8; round++) {
    const ssize_t size = read(child_.output.get(), buffer, sizeof buffer);
    if (size > 0) {
      keep(buffer, static_cast<size_t>(size));
      continue;
    }
    if (size == 0) output_.stop();  // every writer has gone
    if (size < 0 && errno == EINTR) continue;
    return;
  }
}

void JobProcess::out_of_time(unsigned time_limit_s) {
  if (!timed_out_) {
    timed_out_ = true;
    signal_group(SIGTERM);
    timer_ = host::Watch::after_ms(job_grace_ms, [this, time_limit_s] { out_of_time(time_limit_s); });
    result_.remark = "stopped: it ran longer than " + std::to_string(time_limit_s) + " seconds";
    return;
  }
  timer_.stop();
  signal_group(SIGKILL);
}

// A child that has not come to lead its group yet is alone.
void JobProcess::signal_group(int number) const {
  if (kill(-child_.pid, number) != 0) kill(child_.pid, number);
}

bool JobProcess::wait_ms(int milliseconds) const {
  pollfd ended = {child_.pidfd.get(), POLLIN, 0};
  return poll(&ended, 1, milliseconds) == 1;
}

// The group goes before its leader is reaped: until then its number cannot belong to anybody else.
int JobProcess::reap() {
  signal_group(SIGKILL);
  int status = 0;
  while (waitpid(child_.pid, &status, 0) < 0 && errno == EINTR) {
  }
  child_.pid = -1;
  return status;
}

JobProcess::Result JobProcess::take_result(uint32_t wait_status) {
  result_.wait_status = wait_status;
  return std::move(result_);
}

void JobProcess::finish() {
  const int status = reap();
  take_output();  // what is still in the pipe; a process that has left the group may keep it open for ever
  output_.stop();
  exit_.stop();
  timer_.stop();
  if (WIFSIGNALED(status) && !timed_out_)
    result_.remark = "ended by signal " + std::to_string(WTERMSIG(status)) + ", " + strsignal(WTERMSIG(status));
  const Done done = std::move(done_);
  done(take_result(timed_out_ ? exit_status(Reason::timed_out) : recorded_status(status)));
}

JobProcess::Result JobProcess::end() {
  reap();
  take_output();
  result_.remark = "stopped: the scheduler service ended";
  return take_result(exit_status(Reason::stopped));
}

}  // namespace service
