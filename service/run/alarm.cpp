// SPDX-License-Identifier: Apache-2.0
#include "service/run/alarm.h"

#include <sys/timerfd.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <limits>

namespace service {
namespace {

// The second as time() counts it begins with a tick of the kernel's, which may come a few milliseconds after the
// exact moment: ringing before it would ring again and again until then.
constexpr long after_the_tick_ns = 20'000'000;

constexpr time_t far_away = std::numeric_limits<int32_t>::max() * time_t{4};  // an unset timer would not tell of steps

time_t clock_offset() {
  timespec wall = {}, steady = {};
  clock_gettime(CLOCK_REALTIME, &wall);
  clock_gettime(CLOCK_BOOTTIME, &steady);
  return wall.tv_sec - steady.tv_sec;
}

}  // namespace

bool Alarm::open(Ring ring, std::string *error) {
  timer_ = host::FileDescriptor(timerfd_create(CLOCK_REALTIME, TFD_CLOEXEC | TFD_NONBLOCK));
  if (!timer_) {
    *error = std::string("cannot make a timer: ") + std::strerror(errno);
    return false;
  }
  ring_ = std::move(ring);
  offset_ = clock_offset();
  watch_ = host::Watch::readable(timer_.get(), [this] { on_readable(); });
  set_for_ = -1;
  set(0);
  return true;
}

void Alarm::set(time_t moment) {
  if (!timer_ || moment == set_for_) return;
  set_for_ = moment;
  itimerspec when = {};
  when.it_value.tv_sec = moment == 0 ? far_away : moment;
  when.it_value.tv_nsec = after_the_tick_ns;
  timerfd_settime(timer_.get(), TFD_TIMER_ABSTIME | TFD_TIMER_CANCEL_ON_SET, &when, nullptr);
}

void Alarm::on_readable() {
  uint64_t times = 0;
  const ssize_t got = read(timer_.get(), &times, sizeof times);
  if (got < 0 && errno != ECANCELED) return;  // it was set again meanwhile
  const time_t before = std::exchange(offset_, clock_offset());
  set_for_ = -1;  // it has rung, or was cancelled: to be set in any case
  ring_(got < 0 ? offset_ - before : 0);
}

}  // namespace service
