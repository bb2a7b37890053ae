// SPDX-License-Identifier: Apache-2.0
// schedd-starter: a small process that creates the jobs' processes for the service.
//
// If the service forked, the kernel would copy its page tables, which grow with its data. With vfork the service would
// stand still until the child has executed the interpreter: a child that waits for a home directory on a server, or
// that is stopped by another process of its owner just after the change of identity, would block all clients and runs.
// A fork of this small process costs about as much as a vfork, and its children inherit nothing of the service's.
//
// It links only the C library, and ends when the service does.
#include <fcntl.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>

#include "service/process/job.h"

namespace service {
namespace {

alignas(Launch) char message[launch_size_max];
int descriptors[launch_descriptors_max];
size_t received = 0;  // of the descriptors

ssize_t receive() {
  alignas(cmsghdr) char control[CMSG_SPACE(sizeof descriptors)];
  iovec body = {message, sizeof message};
  msghdr header = {};
  header.msg_iov = &body;
  header.msg_iovlen = 1;
  header.msg_control = control;
  header.msg_controllen = sizeof control;
  const ssize_t size = recvmsg(starter_channel, &header, MSG_CMSG_CLOEXEC);
  received = 0;
  const cmsghdr *rights = size > 0 ? CMSG_FIRSTHDR(&header) : nullptr;
  if (rights == nullptr || rights->cmsg_type != SCM_RIGHTS) return size;
  received = (rights->cmsg_len - CMSG_LEN(0)) / sizeof(int);
  std::memcpy(descriptors, CMSG_DATA(rights), received * sizeof(int));
  return size;
}

// The next string of the message; null if it is not terminated.
char *take_string(char **position, const char *end) {
  char *start = *position;
  auto *null = static_cast<char *>(std::memchr(start, 0, static_cast<size_t>(end - start)));
  if (null == nullptr) return nullptr;
  *position = null + 1;
  return start;
}

bool read_strings(Job *job, char *position, const char *end) {
  for (const char **text : {&job->user, &job->home, &job->pam_directory})
    if ((*text = take_string(&position, end)) == nullptr) return false;
  for (char **argument = &job->arguments[0]; argument != &job->arguments[2]; argument++)
    if ((*argument = take_string(&position, end)) == nullptr) return false;
  for (size_t i = 0; i < job->launch->variable_count; i++) {
    job->environment[i] = take_string(&position, end);
    if (job->environment[i] == nullptr) return false;
    if (std::strncmp(job->environment[i], "PWD=", 4) == 0) job->working_directory = &job->environment[i];
  }
  return true;
}

bool read_launch(Job *job, size_t size) {
  if (size < sizeof(Launch)) return false;
  job->launch = reinterpret_cast<const Launch *>(message);
  const Launch &launch = *job->launch;
  const size_t groups_size = size_t{launch.group_count} * sizeof(gid_t);
  if (launch.group_count > launch_groups_max || launch.variable_count > launch_strings_max ||
      size < sizeof launch + groups_size || received != descriptor_count(launch))
    return false;
  job->groups = reinterpret_cast<const gid_t *>(message + sizeof launch);
  const int *next = descriptors;
  job->output = *next++;
  job->channel = *next++;
  job->gate = launch.waits != 0 ? *next++ : -1;
  job->group = launch.in_group != 0 ? *next++ : -1;
  return read_strings(job, message + sizeof launch + groups_size, message + size);
}

[[noreturn]] void become(Job &job, pid_t service) {
  if (job.launch->keeper != 0) keep_job(job, service);
  become_job(job, service);
}

// Waits in a spare process for the real launch. Its channel replaces the starter's, which only the starter may hold
// open.
[[noreturn]] void wait_for_launch(pid_t service) {
  if (dup3(descriptors[0], starter_channel, O_CLOEXEC) < 0) _exit(1);
  close(descriptors[0]);
  ssize_t size;
  do
    size = receive();
  while (size < 0 && errno == EINTR);
  Job job;
  if (size <= 0 || !read_launch(&job, static_cast<size_t>(size))) _exit(1);
  become(job, service);
}

bool asks_for_spare(size_t size) {
  return size == sizeof(Launch) && received == 1 && reinterpret_cast<const Launch *>(message)->spare != 0;
}

Launched launch(size_t size, pid_t service) {
  Job job;
  const bool spare = asks_for_spare(size);
  if (!spare && !read_launch(&job, size)) return {-1, EBADMSG};
  Job first = job;
  if (spare || job.launch->keeper != 0) first.group = -1;
  const pid_t pid = fork_job(first, true);
  if (pid < 0) return {-1, errno};
  if (pid > 0) return {pid, 0};
  if (spare) wait_for_launch(service);
  become(job, service);
}

// Resets the dispositions that were inherited from the service. Signals that a terminal or a supervisor sends to the
// whole process group are left to the service: the starter ends when its channel does.
void settle_signals() {
  // By the system call, as sigaction() refuses the two signals that the C library reserves for itself.
  constexpr int signals = 64;
  constexpr long kernel_action[8] = {};  // SIG_DFL, and room for what any processor has there
  for (int number = 1; number <= signals; number++)
    syscall(SYS_rt_sigaction, number, kernel_action, nullptr, signals / 8);  // fails for SIGKILL and SIGSTOP: harmless
  sigset_t all;
  sigfillset(&all);
  sigprocmask(SIG_SETMASK, &all, nullptr);
}

int serve() {
  const pid_t service = getppid();
  while (true) {
    const ssize_t size = receive();
    if (size < 0 && errno == EINTR) continue;
    if (size <= 0) return 0;
    const Launched answer = launch(static_cast<size_t>(size), service);
    for (size_t i = 0; i < received; i++)
      close(descriptors[i]);
    if (send(starter_channel, &answer, sizeof answer, MSG_NOSIGNAL) < 0) return 0;
  }
}

}  // namespace
}  // namespace service

int main() {
  setsid();
  service::settle_signals();
  return service::serve();
}
