// SPDX-License-Identifier: Apache-2.0
// The calls of a schedd with faults by which it opens, sends, receives, waits and reads: faults.cpp has the
// others.
#include <fcntl.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdarg>
#include <ctime>

#include "tests/system/oracle/fault_steps.h"

namespace oracle {
namespace {

// A call that waits is never told that nothing is ready.
Ways ways_of(int descriptor, int flags = 0) {
  const bool waits = (flags & MSG_DONTWAIT) == 0 && (fcntl(descriptor, F_GETFL) & O_NONBLOCK) == 0;
  return waits ? interrupted : interrupted | again;
}

ssize_t read_step(int descriptor, void *data, size_t size) {
  const bool waits = has_type(descriptor, S_IFIFO) || has_type(descriptor, S_IFSOCK);
  if (waits && fails_alive(ways_of(descriptor))) return -1;
  const bool short_one = size > 1 && (waits || is_file(descriptor)) && is_cut();
  return syscall(SYS_read, descriptor, data, short_one ? size / 2 : size);
}

int open_step(const char *path, int flags, mode_t mode) {
  if (fails_alive(without_descriptors)) {
    if ((flags & O_DIRECTORY) != 0) note_unsynced_directory();
    return -1;
  }
  if ((flags & O_CREAT) != 0 && fails(of_disk)) return -1;
  return static_cast<int>(syscall(SYS_openat, AT_FDCWD, path, flags, mode));
}

}  // namespace
}  // namespace oracle

// Named by assembler label: the system's headers declare these with attributes of their own.
extern "C" {

int step_open(const char *path, int flags, ...) __asm__("open");
int step_open64(const char *path, int flags, ...) __asm__("open64");
ssize_t step_send(int socket, const void *data, size_t size, int flags) __asm__("send");
ssize_t step_sendto(int socket, const void *data, size_t size, int flags, const sockaddr *to,
                    socklen_t length) __asm__("sendto");
ssize_t step_sendmsg(int socket, const msghdr *message, int flags) __asm__("sendmsg");
ssize_t step_recv(int socket, void *data, size_t size, int flags) __asm__("recv");
ssize_t step_recvmsg(int socket, msghdr *message, int flags) __asm__("recvmsg");
ssize_t step_read(int descriptor, void *data, size_t size) __asm__("read");
ssize_t step_pread(int descriptor, void *data, size_t size, off_t offset) __asm__("pread");
ssize_t step_pread64(int descriptor, void *data, size_t size, off_t offset) __asm__("pread64");
int step_accept4(int socket, sockaddr *peer, socklen_t *length, int flags) __asm__("accept4");
int step_pipe2(int *ends, int flags) __asm__("pipe2");
int step_socketpair(int domain, int type, int protocol, int *ends) __asm__("socketpair");
int step_socket(int domain, int type, int protocol) __asm__("socket");
int step_timerfd_create(clockid_t clock, int flags) __asm__("timerfd_create");
int step_epoll_wait(int epoll, epoll_event *events, int most, int timeout_ms) __asm__("epoll_wait");
pid_t step_waitpid(pid_t process, int *status, int options) __asm__("waitpid");

int step_open(const char *path, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const auto mode = static_cast<mode_t>((flags & O_CREAT) != 0 ? va_arg(arguments, int) : 0);
  va_end(arguments);
  return oracle::open_step(path, flags, mode);
}

int step_open64(const char *path, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const auto mode = static_cast<mode_t>((flags & O_CREAT) != 0 ? va_arg(arguments, int) : 0);
  va_end(arguments);
  return oracle::open_step(path, flags, mode);
}

ssize_t step_send(int socket, const void *data, size_t size, int flags) {
  if (oracle::fails(oracle::ways_of(socket, flags))) return -1;
  return syscall(SYS_sendto, socket, data, size, flags, nullptr, 0);
}

ssize_t step_sendto(int socket, const void *data, size_t size, int flags, const sockaddr *to, socklen_t length) {
  if (oracle::fails(oracle::ways_of(socket, flags))) return -1;
  return syscall(SYS_sendto, socket, data, size, flags, to, length);
}

ssize_t step_sendmsg(int socket, const msghdr *message, int flags) {
  if (oracle::fails(oracle::ways_of(socket, flags))) return -1;
  return syscall(SYS_sendmsg, socket, message, flags);
}

ssize_t step_recv(int socket, void *data, size_t size, int flags) {
  if (oracle::fails_alive(oracle::ways_of(socket, flags))) return -1;
  return syscall(SYS_recvfrom, socket, data, size, flags, nullptr, nullptr);
}

ssize_t step_recvmsg(int socket, msghdr *message, int flags) {
  if (oracle::fails_alive(oracle::ways_of(socket, flags))) return -1;
  return syscall(SYS_recvmsg, socket, message, flags);
}

ssize_t step_read(int descriptor, void *data, size_t size) {
  return oracle::read_step(descriptor, data, size);
}

ssize_t step_pread(int descriptor, void *data, size_t size, off_t offset) {
  const bool by_half = size > 1 && oracle::is_file(descriptor) && oracle::is_cut();
  return syscall(SYS_pread64, descriptor, data, by_half ? size / 2 : size, offset);
}

ssize_t step_pread64(int descriptor, void *data, size_t size, off_t offset) {
  return step_pread(descriptor, data, size, offset);
}

int step_accept4(int socket, sockaddr *peer, socklen_t *length, int flags) {
  if (oracle::fails_alive(oracle::ways_of(socket) | oracle::without_descriptors)) return -1;
  return static_cast<int>(syscall(SYS_accept4, socket, peer, length, flags));
}

int step_pipe2(int *ends, int flags) {
  return oracle::fails_alive(oracle::without_descriptors) ? -1 : static_cast<int>(syscall(SYS_pipe2, ends, flags));
}

int step_socketpair(int domain, int type, int protocol, int *ends) {
  if (oracle::fails_alive(oracle::without_descriptors)) return -1;
  return static_cast<int>(syscall(SYS_socketpair, domain, type, protocol, ends));
}

int step_socket(int domain, int type, int protocol) {
  if (oracle::fails_alive(oracle::without_descriptors)) return -1;
  return static_cast<int>(syscall(SYS_socket, domain, type, protocol));
}

int step_timerfd_create(clockid_t clock, int flags) {
  if (oracle::fails_alive(oracle::without_descriptors)) return -1;
  return static_cast<int>(syscall(SYS_timerfd_create, clock, flags));
}

int step_epoll_wait(int epoll, epoll_event *events, int most, int timeout_ms) {
  if (oracle::fails_alive(oracle::interrupted)) return -1;
  return static_cast<int>(syscall(SYS_epoll_wait, epoll, events, most, timeout_ms));
}

pid_t step_waitpid(pid_t process, int *status, int options) {
  if (oracle::fails_alive(oracle::interrupted)) return -1;
  return static_cast<pid_t>(syscall(SYS_wait4, process, status, options, nullptr));
}
}
