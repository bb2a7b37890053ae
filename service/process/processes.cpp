// SPDX-License-Identifier: Apache-2.0
#include "service/process/processes.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <vector>

#include "host/child.h"
#include "host/files/paths.h"
#include "host/status.h"
#include "schedcli.h"
#include "service/process/environment.h"

namespace service {
namespace {

constexpr int lock_rounds = 2000;
constexpr useconds_t lock_round_us = 5000;  // up to 10 s in all; keepers of a killed service need milliseconds to end
constexpr unsigned ready_ms = 5000;         // then a process that was made ahead is not needed any more

host::Error failure(const std::string &what) {
  return {host::err_io, "cannot start the job: " + what + ": " + std::strerror(errno)};
}

void put(std::vector<char> *message, const void *bytes, size_t size) {
  const auto *start = static_cast<const char *>(bytes);
  message->insert(message->end(), start, start + size);
}

void put(std::vector<char> *message, const std::string &text) {
  put(message, text.c_str(), text.size() + 1);
}

void kill_and_collect(pid_t pid) {
  kill(pid, SIGKILL);
  host::collect_child(pid);
}

}  // namespace

Processes::Processes(Options options) : options_(std::move(options)), starter_(options_.starter) {}

// Called at first use rather than by the constructor, as the host's paths are known only then.
host::Result<void> Processes::settle() {
  if (settled_) return {};
  directory_ = options_.directory.empty() ? host::paths().run : options_.directory;
  if (auto cleared = clear_scripts(directory_ + "/jobs", host::paths().system_wide); !cleared) return cleared;
  const std::string lock = directory_ + "/keepers.lock";
  lock_ = host::FileDescriptor(open(lock.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600));
  if (!lock_ || flock(lock_.get(), LOCK_SH | LOCK_NB) != 0) return failure(lock);
  if (!options_.group_directory.empty()) {
    host::Result<RunGroups> groups = RunGroups::below(options_.group_directory);
    if (!groups) return groups.error();
    groups_ = std::move(*groups);
  } else if (options_.groups) {
    groups_ = RunGroups::delegated();
  }
  pam_ = finds_pam();
  settled_ = true;
  return {};
}

// If PAM has no service file of ours it uses "other", which mostly refuses everybody. Then jobs run without PAM.
bool Processes::finds_pam() const {
  if (!options_.pam || !host::paths().system_wide) return false;
  const std::vector<std::string> directories = options_.pam_directory.empty()
                                                   ? std::vector<std::string>{"/etc/pam.d", "/usr/lib/pam.d"}
                                                   : std::vector<std::string>{options_.pam_directory};
  for (const std::string &directory : directories)
    if (access((directory + "/schedcli").c_str(), R_OK) == 0) return true;
  sch_syslog_raise(&syslog_msg_SCH_WARN,
                   "no /etc/pam.d/schedcli: accounts are checked by /etc/shadow alone, sessions not opened");
  return false;
}

// Waits for the keepers of an earlier service: each holds that service's lock until everything of its job has ended.
bool Processes::outlast_keepers() {
  bool alone = false;
  for (int round = 0; round < lock_rounds && !(alone = flock(lock_.get(), LOCK_EX | LOCK_NB) == 0); round++)
    usleep(lock_round_us);
  flock(lock_.get(), LOCK_SH | LOCK_NB);
  return alone;
}

host::Result<void> Processes::end_left_overs() {
  if (auto settled = settle(); !settled) return settled;
  const bool kept_ended = outlast_keepers();
  const bool grouped_ended = !groups_ || groups_->end_left_overs();
  if (auto begun = starter_.begin(lock_.get()); !begun) return begun;
  if (kept_ended && grouped_ended) return {};
  return host::Error{host::err_busy, "processes that an earlier service started do not end"};
}

Launch Processes::describe(const Task &task, const Started &started, bool waits) const {
  Launch launch = {};
  const Limits &limits = task.limits;
  launch.keeper = started.kept;
  launch.change_user = task.change_user;
  launch.uid = task.owner.uid;
  launch.gid = task.owner.gid;
  launch.nice = limits.nice;
  launch.leave_daemons = task.leave_daemons;
  launch.waits = waits;
  launch.in_group = groups_.has_value();
  launch.pam = started.pam_deadline_ms != 0;
  if (!groups_ || !groups_->limits_memory()) launch.data_limit = limits.memory_bytes;
  if (!groups_ || !groups_->limits_tasks()) launch.task_limit = limits.tasks;
  return launch;
}

// The record, then the groups, the texts and the variables.
host::Result<std::vector<char>> Processes::message_for(const Task &task, const Started &started, bool waits) {
  const std::vector<gid_t> none;
  const std::vector<gid_t> *groups = task.change_user ? user_groups_.of(task.owner, Groups::Clock::now()) : &none;
  if (groups == nullptr)
    return host::Error{host::err_io, "cannot start the job: the groups of user " + task.owner.name};
  const std::vector<std::string> variables = job_environment(task);
  Launch launch = describe(task, started, waits);
  launch.group_count = static_cast<uint32_t>(groups->size());
  launch.variable_count = static_cast<uint32_t>(variables.size());
  std::vector<char> message;
  put(&message, &launch, sizeof launch);
  put(&message, groups->data(), groups->size() * sizeof(gid_t));
  for (const std::string &text :
       {task.owner.name, task.owner.home, options_.pam_directory, task.interpreter, started.script.path()})
    put(&message, text);
  for (const std::string &variable : variables)
    put(&message, variable);
  return message;
}

host::Result<std::vector<char>> Processes::launch(const Task &task, int gate, Started *started) {
  int output[2], channel[2];
  if (pipe2(output, O_CLOEXEC) != 0) return failure("its output");
  started->output = host::FileDescriptor(output[0]);
  const host::FileDescriptor writer(output[1]);
  if (fcntl(output[0], F_SETFL, O_NONBLOCK) != 0) return failure("its output");
  if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, channel) != 0) return failure("its reports");
  started->channel = host::FileDescriptor(channel[0]);
  const host::FileDescriptor theirs(channel[1]);

  host::Result<std::vector<char>> message = message_for(task, *started, gate >= 0);
  if (!message) return message;
  std::vector<int> descriptors = {writer.get(), theirs.get()};
  if (gate >= 0) descriptors.push_back(gate);
  if (groups_) descriptors.push_back(started->group.directory());
  const host::Result<pid_t> pid = starter_.launch(*message, descriptors);
  if (!pid) return pid.error();
  started->pid = *pid;
  started->pidfd = host::FileDescriptor(static_cast<int>(syscall(SYS_pidfd_open, *pid, 0)));
  if (started->pidfd) return message;
  const host::Error error = failure("its process");
  kill_and_collect(*pid);
  return error;
}

void Processes::describe_start(const Task &task, Started *started) const {
  if (pam_ && task.change_user) started->pam_deadline_ms = options_.pam_deadline_ms;
  started->kept = started->pam_deadline_ms != 0 || (!groups_ && !task.leave_daemons);
}

host::Result<std::vector<char>> Processes::make(const Task &task, int gate, Started *started) {
  if (auto settled = settle(); !settled) return settled.error();
  if (auto begun = starter_.begin(lock_.get()); !begun) return begun.error();
  describe_start(task, started);
  host::Result<Script> script = Script::make(directory_ + "/jobs", task.text, task.change_user ? &task.owner : nullptr);
  if (!script) return host::Error{script.error().code, "cannot start the job: " + script.error().text};
  started->script = std::move(*script);
  if (groups_) {
    host::Result<RunGroup> group = groups_->make(task.limits, task.leave_daemons);
    if (!group) return group.error();
    started->group = std::move(*group);
  }
  return launch(task, gate, started);
}

host::Result<Started> Processes::start(const Task &task) {
  if (std::optional<Started> ready = begin_ready(task)) return std::move(*ready);
  Started started;
  if (const auto made = make(task, -1, &started); !made) return made.error();
  return started;
}

void Processes::prepare(const Task &task) {
  ready_.reset();
  if (pam_ && task.change_user) return;
  int gate[2];
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, gate) != 0) return;
  const host::FileDescriptor theirs(gate[0]);
  host::FileDescriptor ours(gate[1]);
  Started started;
  host::Result<std::vector<char>> told = make(task, theirs.get(), &started);
  if (!told) return;
  ready_ = std::make_unique<ReadyJob>(task, std::move(*told), std::move(started), std::move(ours));
  ready_timer_ = host::Watch::after_ms(ready_ms, [this] { ready_.reset(); });
}

std::optional<Started> Processes::begin_ready(const Task &task) {
  if (!ready_) return std::nullopt;
  const host::Result<std::vector<char>> message = message_for(task, ready_->started(), true);
  if (!message || !ready_->serves(task, *message)) return std::nullopt;
  const std::unique_ptr<ReadyJob> ready = std::move(ready_);
  ready_timer_.stop();
  return ready->begin();
}

}  // namespace service
