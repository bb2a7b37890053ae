// SPDX-License-Identifier: Apache-2.0
// Linked into a schedd of the tests: its real-time clock is ahead of the machine's by the seconds in a file that the
// test writes.
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <ctime>

namespace {

using Seconds = std::atomic<int64_t>;

const Seconds &ahead() {
  static const Seconds *const shared = [] {
    const int file = open(getenv("SCHEDCLI_TEST_CLOCK"), O_RDONLY | O_CLOEXEC);
    void *memory = mmap(nullptr, sizeof(Seconds), PROT_READ, MAP_SHARED, file, 0);
    if (memory == MAP_FAILED) abort();
    close(file);
    return static_cast<const Seconds *>(memory);
  }();
  return *shared;
}

}  // namespace

extern "C" {

int clock_gettime(clockid_t clock, timespec *now) {
  const long result = syscall(SYS_clock_gettime, clock, now);
  if (result == 0 && clock == CLOCK_REALTIME) now->tv_sec += ahead().load();
  return static_cast<int>(result);
}

time_t time(time_t *out) {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  if (out != nullptr) *out = now.tv_sec;
  return now.tv_sec;
}

// Absolute timers are on the real-time clock, and 0 disarms.
int timerfd_settime(int timer, int flags, const itimerspec *wanted, itimerspec *before) {
  itimerspec moved = *wanted;
  if ((flags & TFD_TIMER_ABSTIME) != 0 && moved.it_value.tv_sec != 0) moved.it_value.tv_sec -= ahead().load();
  return static_cast<int>(syscall(SYS_timerfd_settime, timer, flags, &moved, before));
}
}
