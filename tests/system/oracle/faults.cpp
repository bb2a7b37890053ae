// SPDX-License-Identifier: Apache-2.0
// Linked into a schedd of the tests: its calls come before the C library's for every library of the process, and do
// what the test says (fault_control.h).
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/timerfd.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdarg>
#include <cstdlib>
#include <ctime>

#include "tests/system/oracle/fault_control.h"

namespace oracle {
namespace {

FaultControl &control() {
  static FaultControl *const shared = [] {
    const char *path = getenv(control_variable);
    if (path == nullptr) abort();
    const long file = syscall(SYS_openat, AT_FDCWD, path, O_RDWR | O_CLOEXEC, 0);
    void *memory = mmap(nullptr, sizeof(FaultControl), PROT_READ | PROT_WRITE, MAP_SHARED, static_cast<int>(file), 0);
    if (memory == MAP_FAILED) abort();
    syscall(SYS_close, file);
    return static_cast<FaultControl *>(memory);
  }();
  return *shared;
}

// What this step has to do; a step that only can die, as it has no error to give, is no step where others fail.
Action next_step(bool can_fail) {
  FaultControl &shared = control();
  const uint64_t first = shared.first.load();
  if (first == 0) return Action::none;
  const Action action = shared.action.load();
  if (!can_fail && !kills(action)) return Action::none;
  const uint64_t step = ++shared.steps;
  return step >= first && step - first < shared.count.load() ? action : Action::none;
}

[[noreturn]] void die() {
  syscall(SYS_kill, getpid(), SIGKILL);
  _exit(120);
}

// 0, or the error that the step ends with.
int meet(Action action) {
  if (kills(action)) die();
  switch (action) {
    case Action::none:
      return 0;
    case Action::fail_full:
      return ENOSPC;
    default:
      return EIO;
  }
}

bool fails(bool can_fail = true) {
  const int error = meet(next_step(can_fail));
  if (error != 0) errno = error;
  return error != 0;
}

bool has_type(int descriptor, mode_t type) {
  struct stat status = {};
  return descriptor > STDERR_FILENO && syscall(SYS_fstat, descriptor, &status) == 0 &&
         (status.st_mode & S_IFMT) == type;
}

bool is_file(int descriptor) {
  return has_type(descriptor, S_IFREG);
}

// `write` takes how much of the whole is to be written. 0 bytes are no step.
template <typename Write>
ssize_t write_step(int descriptor, size_t whole, Write write) {
  if (whole == 0 || !is_file(descriptor)) return write(whole);
  const Action action = next_step(true);
  const bool by_half = whole > 1 && (action == Action::die_half_written || action == Action::fail_cut);
  if (by_half) {
    const ssize_t written = write(whole / 2);
    if (action == Action::die_half_written) die();
    return written;
  }
  const int error = meet(action);
  if (error == 0) return write(whole);
  errno = error;
  return -1;
}

void sleep_ms(uint32_t milliseconds) {
  const timespec time = {milliseconds / 1000, static_cast<long>(milliseconds % 1000) * 1000000};
  syscall(SYS_nanosleep, &time, nullptr);
}

// The gate gives way to a test that waits for what waits for it.
void pass_gate() {
  constexpr int longest_ms = 20000;
  if (!control().gate_closed) return;
  ++control().at_gate;
  for (int waited = 0; control().gate_closed && waited < longest_ms; waited++)
    sleep_ms(1);
  control().gate_closed = false;
}

int sync_step(long number, int descriptor) {
  const bool is_directory = has_type(descriptor, S_IFDIR);
  if (!is_directory && !is_file(descriptor)) return static_cast<int>(syscall(number, descriptor));
  pass_gate();
  if (fails()) {
    if (is_directory) control().directory_not_synced = true;
    return -1;
  }
  ++control().syncs;
  const uint32_t stall_ms = control().stall_ms.exchange(0);
  if (stall_ms != 0) sleep_ms(stall_ms);
  return static_cast<int>(syscall(number, descriptor));
}

int open_step(const char *path, int flags, mode_t mode) {
  if ((flags & O_CREAT) != 0 && fails()) return -1;
  return static_cast<int>(syscall(SYS_openat, AT_FDCWD, path, flags, mode));
}

// The timers that wait for the wall clock.
struct WallTimer {
  std::atomic<int> descriptor = -1;
  std::atomic<int64_t> rings_at_ms = 0;  // 0: not set
};
std::array<WallTimer, 8> timers;

int64_t in_ms(const timespec &time) {
  return int64_t{time.tv_sec} * 1000 + time.tv_nsec / 1000000;
}

void ring_what_is_due(int) {
  const int64_t now = control().wall_ms.load();
  const bool was_set = control().clock_was_set.exchange(false);
  for (WallTimer &timer : timers) {
    const int64_t at = timer.rings_at_ms.load();
    if (timer.descriptor.load() < 0 || at == 0 || (at > now && !was_set)) continue;
    timer.rings_at_ms = 0;
    const itimerspec at_once = {{}, {0, 1}};
    syscall(SYS_timerfd_settime, timer.descriptor.load(), 0, &at_once, nullptr);
  }
}

int set_wall_timer(int descriptor, const itimerspec &wanted) {
  const auto known = std::find_if(timers.begin(), timers.end(), [&](const WallTimer &timer) {
    return timer.descriptor.load() == descriptor || timer.descriptor.load() < 0;
  });
  if (known == timers.end()) abort();
  const itimerspec off = {};
  const long result = syscall(SYS_timerfd_settime, descriptor, 0, &off, nullptr);
  known->descriptor = descriptor;
  known->rings_at_ms = in_ms(wanted.it_value);
  ring_what_is_due(0);
  return static_cast<int>(result);
}

[[gnu::constructor]] void listen_for_the_clock() {
  control();
  struct sigaction action = {};
  action.sa_handler = ring_what_is_due;
  action.sa_flags = SA_RESTART;
  sigaction(clock_signal, &action, nullptr);
}

}  // namespace
}  // namespace oracle

// Named by assembler label: the system's headers declare these with attributes of their own.
extern "C" {

int step_open(const char *path, int flags, ...) __asm__("open");
int step_open64(const char *path, int flags, ...) __asm__("open64");
ssize_t step_write(int descriptor, const void *data, size_t size) __asm__("write");
ssize_t step_pwrite(int descriptor, const void *data, size_t size, off_t offset) __asm__("pwrite");
ssize_t step_pwrite64(int descriptor, const void *data, size_t size, off_t offset) __asm__("pwrite64");
ssize_t step_writev(int descriptor, const iovec *parts, int count) __asm__("writev");
int step_ftruncate(int descriptor, off_t size) __asm__("ftruncate");
int step_ftruncate64(int descriptor, off_t size) __asm__("ftruncate64");
int step_fallocate(int descriptor, off_t offset, off_t size) __asm__("posix_fallocate");
int step_fallocate64(int descriptor, off_t offset, off_t size) __asm__("posix_fallocate64");
int step_mkdir(const char *path, mode_t mode) __asm__("mkdir");
int step_rename(const char *from, const char *to) __asm__("rename");
int step_unlink(const char *path) __asm__("unlink");
int step_fsync(int descriptor) __asm__("fsync");
int step_fdatasync(int descriptor) __asm__("fdatasync");
ssize_t step_send(int socket, const void *data, size_t size, int flags) __asm__("send");
ssize_t step_sendto(int socket, const void *data, size_t size, int flags, const sockaddr *to,
                    socklen_t length) __asm__("sendto");
ssize_t step_sendmsg(int socket, const msghdr *message, int flags) __asm__("sendmsg");
int step_clock_gettime(clockid_t clock, timespec *now) __asm__("clock_gettime");
time_t step_time(time_t *out) __asm__("time");
int step_timerfd_settime(int timer, int flags, const itimerspec *wanted, itimerspec *before) __asm__("timerfd_settime");

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

ssize_t step_write(int descriptor, const void *data, size_t size) {
  return oracle::write_step(descriptor, size,
                            [&](size_t part) { return ssize_t{syscall(SYS_write, descriptor, data, part)}; });
}

ssize_t step_pwrite(int descriptor, const void *data, size_t size, off_t offset) {
  return oracle::write_step(
      descriptor, size, [&](size_t part) { return ssize_t{syscall(SYS_pwrite64, descriptor, data, part, offset)}; });
}

ssize_t step_pwrite64(int descriptor, const void *data, size_t size, off_t offset) {
  return step_pwrite(descriptor, data, size, offset);
}

// A cut one writes the first half of its parts.
ssize_t step_writev(int descriptor, const iovec *parts, int count) {
  return oracle::write_step(descriptor, static_cast<size_t>(count),
                            [&](size_t part) { return ssize_t{syscall(SYS_writev, descriptor, parts, part)}; });
}

int step_ftruncate(int descriptor, off_t size) {
  return oracle::is_file(descriptor) && oracle::fails() ? -1
                                                        : static_cast<int>(syscall(SYS_ftruncate, descriptor, size));
}

int step_ftruncate64(int descriptor, off_t size) {
  return step_ftruncate(descriptor, size);
}

int step_fallocate(int descriptor, off_t offset, off_t size) {
  if (oracle::fails()) return errno;
  return syscall(SYS_fallocate, descriptor, 0, offset, size) == 0 ? 0 : errno;
}

int step_fallocate64(int descriptor, off_t offset, off_t size) {
  return step_fallocate(descriptor, offset, size);
}

int step_mkdir(const char *path, mode_t mode) {
  return oracle::fails() ? -1 : static_cast<int>(syscall(SYS_mkdirat, AT_FDCWD, path, mode));
}

int step_rename(const char *from, const char *to) {
  return oracle::fails() ? -1 : static_cast<int>(syscall(SYS_renameat2, AT_FDCWD, from, AT_FDCWD, to, 0));
}

int step_unlink(const char *path) {
  return oracle::fails() ? -1 : static_cast<int>(syscall(SYS_unlinkat, AT_FDCWD, path, 0));
}

int step_fsync(int descriptor) {
  return oracle::sync_step(SYS_fsync, descriptor);
}

int step_fdatasync(int descriptor) {
  return oracle::sync_step(SYS_fdatasync, descriptor);
}

ssize_t step_send(int socket, const void *data, size_t size, int flags) {
  oracle::fails(false);
  return syscall(SYS_sendto, socket, data, size, flags, nullptr, 0);
}

ssize_t step_sendto(int socket, const void *data, size_t size, int flags, const sockaddr *to, socklen_t length) {
  oracle::fails(false);
  return syscall(SYS_sendto, socket, data, size, flags, to, length);
}

ssize_t step_sendmsg(int socket, const msghdr *message, int flags) {
  oracle::fails(false);
  return syscall(SYS_sendmsg, socket, message, flags);
}

int step_clock_gettime(clockid_t clock, timespec *now) {
  const bool is_wall = clock == CLOCK_REALTIME || clock == CLOCK_REALTIME_COARSE;
  if (!is_wall && clock != CLOCK_BOOTTIME) return static_cast<int>(syscall(SYS_clock_gettime, clock, now));
  const int64_t ms = is_wall ? oracle::control().wall_ms.load() : oracle::control().boot_ms.load();
  *now = {static_cast<time_t>(ms / 1000), static_cast<long>(ms % 1000) * 1000000};
  return 0;
}

time_t step_time(time_t *out) {
  const auto now = static_cast<time_t>(oracle::control().wall_ms.load() / 1000);
  if (out != nullptr) *out = now;
  return now;
}

int step_timerfd_settime(int timer, int flags, const itimerspec *wanted, itimerspec *before) {
  if ((flags & TFD_TIMER_ABSTIME) != 0) return oracle::set_wall_timer(timer, *wanted);
  return static_cast<int>(syscall(SYS_timerfd_settime, timer, flags, wanted, before));
}
}
