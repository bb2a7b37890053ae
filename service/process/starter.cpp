// SPDX-License-Identifier: Apache-2.0
#include "service/process/starter.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/uio.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstring>
#include <utility>

#include "host/child.h"
#include "host/status.h"

namespace service {
namespace {

// A fork takes less than a millisecond: after five seconds something is wrong.
constexpr timeval answer_deadline = {5, 0};
constexpr int out_of_the_way = 10;  // above all descriptors that have a fixed meaning in the starter

std::string find_program() {
  char self[PATH_MAX];
  const ssize_t size = readlink("/proc/self/exe", self, sizeof self);
  const std::string path(self, size > 0 ? static_cast<size_t>(size) : 0);
  const std::string here = path.substr(0, path.find_last_of('/') + 1);
  const std::string beside = here + "schedd-starter";
  return access(beside.c_str(), X_OK) == 0 ? beside : here + SCHEDD_STARTER;
}

struct SpawnActions {
  posix_spawn_file_actions_t list;
  SpawnActions() { posix_spawn_file_actions_init(&list); }
  ~SpawnActions() { posix_spawn_file_actions_destroy(&list); }
};

host::FileDescriptor out_of_reach(host::FileDescriptor from) {
  return host::FileDescriptor(fcntl(from.get(), F_DUPFD_CLOEXEC, out_of_the_way));
}

ssize_t send_message(int channel, std::span<const char> message, std::span<const int> descriptors) {
  alignas(cmsghdr) char control[CMSG_SPACE(launch_descriptors_max * sizeof(int))] = {};
  iovec body = {const_cast<char *>(message.data()), message.size()};
  msghdr header = {};
  header.msg_iov = &body;
  header.msg_iovlen = 1;
  header.msg_control = control;
  header.msg_controllen = CMSG_SPACE(descriptors.size_bytes());
  cmsghdr *rights = CMSG_FIRSTHDR(&header);
  rights->cmsg_level = SOL_SOCKET;
  rights->cmsg_type = SCM_RIGHTS;
  rights->cmsg_len = CMSG_LEN(descriptors.size_bytes());
  std::memcpy(CMSG_DATA(rights), descriptors.data(), descriptors.size_bytes());
  return sendmsg(channel, &header, MSG_NOSIGNAL);
}

}  // namespace

host::Error Starter::broken(const std::string &what) {
  const int number = errno;
  end();
  return {host::err_io, "cannot start the job: " + what + ": " + std::strerror(number)};
}

void Starter::end() {
  end_spare();
  channel_ = host::FileDescriptor();
  if (pid_ <= 0) return;
  kill(pid_, SIGKILL);
  host::collect_child(pid_);
  pid_ = -1;
}

host::Result<void> Starter::begin(int lock) {
  if (pid_ > 0 && waitpid(pid_, nullptr, WNOHANG) == 0) return {};
  if (program_.empty()) program_ = find_program();
  int ends[2];
  if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends) != 0) return broken("its starter");
  channel_ = host::FileDescriptor(ends[0]);
  const host::FileDescriptor theirs = out_of_reach(host::FileDescriptor(ends[1]));
  const host::FileDescriptor held(fcntl(lock, F_DUPFD_CLOEXEC, out_of_the_way));
  setsockopt(channel_.get(), SOL_SOCKET, SO_RCVTIMEO, &answer_deadline, sizeof answer_deadline);
  SpawnActions actions;
  posix_spawn_file_actions_adddup2(&actions.list, theirs.get(), starter_channel);
  posix_spawn_file_actions_adddup2(&actions.list, held.get(), starter_lock);
  posix_spawn_file_actions_addclosefrom_np(&actions.list, starter_lock + 1);
  char name[] = "schedd-starter", *arguments[] = {name, nullptr}, *environment[] = {nullptr};
  errno = posix_spawn(&pid_, program_.c_str(), &actions.list, nullptr, arguments, environment);
  if (errno == 0) {
    make_spare_ = host::Watch::after_ms(0, [this] { make_spare(); });
    return {};
  }
  pid_ = -1;
  return broken(program_);
}

host::Result<pid_t> Starter::exchange(std::span<const char> message, std::span<const int> descriptors) {
  if (send_message(channel_.get(), message, descriptors) < 0) return broken("its starter");
  Launched answer = {-1, EPROTO};
  ssize_t size;
  do
    size = recv(channel_.get(), &answer, sizeof answer, 0);
  while (size < 0 && errno == EINTR);
  if (size == 0) errno = ECONNRESET;
  if (size != sizeof answer) return broken("its starter");
  if (answer.pid > 0) return answer.pid;
  return host::Error{host::err_io, std::string("cannot start the job: its process: ") + std::strerror(answer.error)};
}

// A spare cannot be used for a run with a control group: processes are created in their group.
std::optional<pid_t> Starter::launch_spare(std::span<const char> message, std::span<const int> descriptors) {
  if (spare_.pid <= 0 || reinterpret_cast<const Launch *>(message.data())->in_group != 0) return std::nullopt;
  if (send_message(spare_.channel.get(), message, descriptors) < 0) {
    end_spare();
    return std::nullopt;
  }
  spare_.channel = host::FileDescriptor();
  return std::exchange(spare_.pid, -1);
}

// Failure is harmless: without a spare a launch takes a little longer.
void Starter::make_spare() {
  if (spare_.pid > 0 || pid_ <= 0) return;
  int ends[2];
  if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends) != 0) return;
  host::FileDescriptor ours(ends[0]);
  const host::FileDescriptor theirs(ends[1]);
  Launch launch = {};
  launch.spare = 1;
  const int descriptor = theirs.get();
  const auto *bytes = reinterpret_cast<const char *>(&launch);
  const host::Result<pid_t> pid = exchange({bytes, sizeof launch}, {&descriptor, 1});
  if (pid) spare_ = {std::move(ours), *pid};
}

void Starter::end_spare() {
  make_spare_.stop();
  spare_.channel = host::FileDescriptor();
  if (spare_.pid <= 0) return;
  kill(spare_.pid, SIGKILL);
  host::collect_child(spare_.pid);
  spare_.pid = -1;
}

host::Result<pid_t> Starter::launch(std::span<const char> message, std::span<const int> descriptors) {
  if (message.size() <= launch_size_max && descriptors.size() <= launch_descriptors_max) {
    const std::optional<pid_t> pid = launch_spare(message, descriptors);
    if (!make_spare_.active()) make_spare_ = host::Watch::after_ms(0, [this] { make_spare(); });
    return pid ? *pid : exchange(message, descriptors);
  }
  return host::Error{host::err_too_large, "cannot start the job: its user has too many groups"};
}

}  // namespace service
