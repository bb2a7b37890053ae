// SPDX-License-Identifier: Apache-2.0
#include "service/run/job_process.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>

#include "host/child.h"
#include "service/process/start_failure.h"

namespace service {
namespace {

constexpr size_t turn_output = 128 * 1024;  // twice what a pipe usually holds
constexpr unsigned group_round_ms = 2;      // between two looks; the kernel ends a killed group in about that time
constexpr int group_rounds = 2500;          // 5 s in all: a process that waits for a disk ends late
constexpr int stop_rounds = 500;            // 1 s in all when the service ends: the next one kills what is left
constexpr useconds_t stop_round_us = 2000;
constexpr int keeper_end_ms = 5000;          // when the service ends: for a keeper that was told to kill its job
constexpr unsigned keeper_grace_ms = 10000;  // otherwise; then the keeper is killed itself
constexpr unsigned give_up_ms = 1000;        // for a keeper to end what PAM's modules have started

}  // namespace

host::Result<std::unique_ptr<JobProcess>> JobProcess::start(Processes &processes, const Task &task, Done done) {
  host::Result<Started> started = processes.start(task);
  if (!started) return started.error();
  std::unique_ptr<JobProcess> process(new JobProcess(std::move(*started), task, std::move(done)));
  process->watch();
  return process;
}

JobProcess::JobProcess(Started started, const Task &task, Done done)
    : started_(std::move(started)),
      limits_(task.limits),
      leave_daemons_(task.leave_daemons),
      owner_(task.owner.name),
      interpreter_(task.interpreter),
      done_(std::move(done)) {}

JobProcess::~JobProcess() {
  if (started_.pid > 0) end();
}

void JobProcess::watch() {
  output_ = host::Watch::readable(started_.output.get(), [this] { take_output(turn_output); });
  exit_ = host::Watch::readable(started_.pidfd.get(), [this] { ended(); });
  reports_ = host::Watch::readable(started_.channel.get(), [this] { take_reports(); });
  timer_ = host::Watch::after_ms(limits_.time_s * 1000, [this] { out_of_time(); });
  if (started_.pam_deadline_ms != 0)
    pam_timer_ = host::Watch::after_ms(started_.pam_deadline_ms, [this] { pam_out_of_time(); });
}

void JobProcess::keep(const char *bytes, size_t size) {
  result_.output_total += size;
  const size_t room = limits_.output_bytes - std::min(limits_.output_bytes, result_.output.size());
  result_.output.append(bytes, std::min(size, room));
}

// No more than `most` and a part of it: a job that prints without end must not keep the service from its other work.
void JobProcess::take_output(size_t most) {
  char buffer[16384];
  for (size_t taken = 0; taken < most;) {
    const ssize_t size = read(started_.output.get(), buffer, sizeof buffer);
    if (size > 0) {
      keep(buffer, static_cast<size_t>(size));
      taken += static_cast<size_t>(size);
      continue;
    }
    if (size == 0) output_.stop();  // end of file: no process has the pipe open for writing
    if (size < 0 && errno == EINTR) continue;
    return;
  }
}

// Only what is in the pipe now: a daemon that may go on can keep it open for ever.
void JobProcess::take_last_output() {
  take_output(static_cast<size_t>(std::max(fcntl(started_.output.get(), F_GETPIPE_SZ), 0)));
}

void JobProcess::take_reports() {
  Report report;
  ssize_t size;
  while ((size = recv(started_.channel.get(), &report, sizeof report, MSG_DONTWAIT)) == sizeof report) {
    pam_timer_.stop();
    if (report.kind == Report::Kind::failed) failure_ = report;
    if (report.kind != Report::Kind::ended) continue;
    job_ended_ = true;
    wait_status_ = report.wait_status;
    result_.killed += report.killed;
  }
  if (size == 0) reports_.stop();  // closed: the job was executed, or its keeper has ended
}

void JobProcess::out_of_time() {
  if (!timed_out_) {
    timed_out_ = true;
    signal_all(SIGTERM);
    timer_ = host::Watch::after_ms(limits_.grace_ms, [this] { out_of_time(); });
    say("stopped: it ran longer than " + std::to_string(limits_.time_s) + " seconds");
    return;
  }
  if (!final_) {
    final_ = true;
    kill_all();
    timer_ = host::Watch::after_ms(keeper_grace_ms, [this] { out_of_time(); });
    return;
  }
  timer_.stop();
  kill(started_.pid, SIGKILL);  // its keeper waits for a process that cannot be killed
}

// A module may hold the signal back: then at least the keeper's process group is killed.
void JobProcess::pam_out_of_time() {
  failure_ = Report{Report::Kind::failed, Stage::account, ETIMEDOUT, 0, 0, "PAM timed out"};
  kill(started_.pid, give_up_signal);
  pam_timer_ = host::Watch::after_ms(give_up_ms, [this] {
    pam_timer_.stop();
    kill_keeper();
  });
}

// With what PAM's modules have left in its process group.
void JobProcess::kill_keeper() const {
  kill(-started_.pid, SIGKILL);
  kill(started_.pid, SIGKILL);
}

void JobProcess::signal_all(int number) const {
  if (started_.pid <= 0) return;
  // Every process gets the signal only once: some programs quit without cleaning up at the second one.
  if (started_.group && started_.group.signal(number)) return;
  if (started_.kept && pam_timer_.active()) {
    kill(started_.pid, give_up_signal);  // it reads no order before PAM's modules have answered
  } else if (started_.kept) {
    const KeeperOrder order = {number};
    send(started_.channel.get(), &order, sizeof order, MSG_NOSIGNAL | MSG_DONTWAIT);
  } else if (kill(-started_.pid, number) != 0) {
    kill(started_.pid, number);  // it has not created its process group yet
  }
}

void JobProcess::kill_all() const {
  if (started_.group) started_.group.kill();
  signal_all(SIGKILL);
}

bool JobProcess::wait_ms(int milliseconds) const {
  pollfd ended = {started_.pidfd.get(), POLLIN, 0};
  return poll(&ended, 1, milliseconds) == 1;
}

// Also reads output: a job that prints while it ends would otherwise block when its pipe is full.
void JobProcess::wait_for(std::vector<JobProcess *> processes, int milliseconds) {
  using namespace std::chrono;
  const auto deadline = steady_clock::now() + std::chrono::milliseconds(milliseconds);
  while (!processes.empty()) {
    std::vector<pollfd> ready;
    for (const JobProcess *process : processes) {
      ready.push_back({process->started_.pidfd.get(), POLLIN, 0});
      ready.push_back({process->output_.active() ? process->started_.output.get() : -1, POLLIN, 0});
    }
    const auto left = ceil<std::chrono::milliseconds>(deadline - steady_clock::now()).count();
    if (left <= 0 || poll(ready.data(), ready.size(), static_cast<int>(left)) == 0) return;
    for (size_t i = processes.size(); i-- > 0;) {
      if (ready[2 * i + 1].revents != 0) processes[i]->take_output(turn_output);
      if (ready[2 * i].revents != 0) processes.erase(processes.begin() + static_cast<ptrdiff_t>(i));
    }
  }
}

void JobProcess::end_all(const std::vector<JobProcess *> &processes, int grace_ms) {
  for (const JobProcess *process : processes)
    process->signal_all(SIGTERM);
  wait_for(processes, grace_ms);
  for (const JobProcess *process : processes)
    process->kill_all();
  wait_for(processes, keeper_end_ms);
}

// Kills the job's process group before waiting for its leader, as until then the group's number cannot be reused.
void JobProcess::collect() {
  if (!started_.kept && !leave_daemons_) kill(-started_.pid, SIGKILL);
  const int status = host::collect_child(started_.pid);
  started_.pid = -1;
  if (started_.kept) return;
  job_ended_ = true;
  wait_status_ = status;
}

void JobProcess::ended() {
  exit_.stop();
  timer_.stop();
  pam_timer_.stop();
  collect();
  take_reports();
  reports_.stop();
  if (started_.group && started_.group.out_of_memory()) say("ended: it went over its memory limit");
  if (!leave_daemons_) result_.killed += static_cast<uint32_t>(started_.group.processes().size());
  empty_group();
}

// Waits, looking again and again, until the control group has no process left: then the job is over.
void JobProcess::empty_group() {
  emptying_.stop();
  const bool empty = started_.group.remove();
  if (empty || leave_daemons_) return finish();
  if (++rounds_ > group_rounds) {
    say("something that it started does not end");
    return finish();
  }
  started_.group.kill();
  emptying_ = host::Watch::after_ms(group_round_ms, [this] { empty_group(); });
}

void JobProcess::say(const std::string &what) {
  result_.remark += (result_.remark.empty() ? "" : "; ") + what;
}

void JobProcess::judge() {
  if (failure_) {
    result_.reason = reason_of(*failure_);
    say(text_of(*failure_, owner_, interpreter_));
  } else if (timed_out_) {
    result_.reason = Reason::timed_out;
  } else if (!job_ended_) {
    result_.reason = Reason::interrupted;
    say("interrupted: its keeper was ended");
  } else if (WIFSIGNALED(wait_status_)) {
    say("ended by signal " + std::to_string(WTERMSIG(wait_status_)) + ", " + strsignal(WTERMSIG(wait_status_)));
  }
  const bool own = result_.reason == Reason::ended;
  result_.wait_status = own ? recorded_status(wait_status_) : exit_status(result_.reason);
  if (result_.killed == 1) say("a process that it had left running was ended");
  if (result_.killed > 1) say(std::to_string(result_.killed) + " processes that it had left running were ended");
}

void JobProcess::finish() {
  take_last_output();
  output_.stop();
  judge();
  const Done done = std::move(done_);
  done(std::move(result_));
}

JobProcess::Result JobProcess::end() {
  for (host::Watch *watch : {&output_, &exit_, &timer_, &reports_, &emptying_})
    watch->stop();
  if (started_.pid > 0) {
    kill_all();
    if (!wait_ms(keeper_end_ms)) kill_keeper();
    collect();
  }
  pam_timer_.stop();
  started_.group.kill();
  for (int round = 0; round < stop_rounds && !started_.group.remove(); round++)
    usleep(stop_round_us);
  take_last_output();
  result_.reason = Reason::stopped;
  result_.wait_status = exit_status(Reason::stopped);
  say("stopped: the scheduler service ended");
  return std::move(result_);
}

}  // namespace service
