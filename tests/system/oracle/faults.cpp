// SPDX-License-Identifier: Apache-2.0
// Linked into a schedd of the tests: its calls come before the C library's for every library of the process, and do
// what the test says (fault_control.h).
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/timerfd.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <ctime>

#include "tests/system/oracle/fault_steps.h"

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
    case Action::fail_interrupted:
      return EINTR;
    case Action::fail_again:
      return EAGAIN;
    case Action::fail_descriptors:
      return EMFILE;
    default:
      return EIO;
  }
}

}  // namespace

Action next_step(Ways ways) {
  FaultControl &shared = control();
  const uint64_t first = shared.first.load();
  if (first == 0) return Action::none;
  const Action action = shared.action.load();
  if ((ways & way(action)) == 0 && !kills(action)) return Action::none;
  const uint64_t step = ++shared.steps;
  return step >= first && step - first < shared.count.load() ? action : Action::none;
}

bool fails(Ways ways) {
  const int error = meet(next_step(ways));
  if (error != 0) errno = error;
  return error != 0;
}

bool fails_alive(Ways ways) {
  return !kills(control().action.load()) && fails(ways);
}

bool is_cut() {
  return !kills(control().action.load()) && next_step(cut) == Action::cut_read;
}

void note_unsynced_directory() {
  control().directory_not_synced = true;
}

bool has_type(int descriptor, mode_t type) {
  struct stat status = {};
  return descriptor > STDERR_FILENO && syscall(SYS_fstat, descriptor, &status) == 0 &&
         (status.st_mode & S_IFMT) == type;
}

bool is_file(int descriptor) {
  return has_type(descriptor, S_IFREG);
}

namespace {

// `write` takes how much of the whole is to be written. 0 bytes are no step.
template <typename Write>
ssize_t write_step(int descriptor, size_t whole, Write write) {
  if (whole == 0 || !is_file(descriptor)) return write(whole);
  const Action action = next_step(of_disk);
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
  if (fails(of_disk)) {
    if (is_directory) note_unsynced_directory();
    return -1;
  }
  ++control().syncs;
  const uint32_t stall_ms = control().stall_ms.exchange(0);
  if (stall_ms != 0) sleep_ms(stall_ms);
  return static_cast<int>(syscall(number, descriptor));
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
int step_clock_gettime(clockid_t clock, timespec *now) __asm__("clock_gettime");
time_t step_time(time_t *out) __asm__("time");
int step_timerfd_settime(int timer, int flags, const itimerspec *wanted, itimerspec *before) __asm__("timerfd_settime");

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
  return oracle::is_file(descriptor) && oracle::fails(oracle::of_disk)
             ? -1
             : static_cast<int>(syscall(SYS_ftruncate, descriptor, size));
}

int step_ftruncate64(int descriptor, off_t size) {
  return step_ftruncate(descriptor, size);
}

int step_fallocate(int descriptor, off_t offset, off_t size) {
  if (oracle::fails(oracle::of_disk)) return errno;
  return syscall(SYS_fallocate, descriptor, 0, offset, size) == 0 ? 0 : errno;
}

int step_fallocate64(int descriptor, off_t offset, off_t size) {
  return step_fallocate(descriptor, offset, size);
}

int step_mkdir(const char *path, mode_t mode) {
  return oracle::fails(oracle::of_disk) ? -1 : static_cast<int>(syscall(SYS_mkdirat, AT_FDCWD, path, mode));
}

int step_rename(const char *from, const char *to) {
  return oracle::fails(oracle::of_disk) ? -1
                                        : static_cast<int>(syscall(SYS_renameat2, AT_FDCWD, from, AT_FDCWD, to, 0));
}

int step_unlink(const char *path) {
  return oracle::fails(oracle::of_disk) ? -1 : static_cast<int>(syscall(SYS_unlinkat, AT_FDCWD, path, 0));
}

int step_fsync(int descriptor) {
  return oracle::sync_step(SYS_fsync, descriptor);
}

int step_fdatasync(int descriptor) {
  return oracle::sync_step(SYS_fdatasync, descriptor);
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
