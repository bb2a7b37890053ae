// SPDX-License-Identifier: Apache-2.0
#include "service/run/alarm.h"

#include <sys/timerfd.h>
#include <unistd.h>

#include <cerrno>
#include <cmath>
#include <cstring>
#include <limits>
#include <utility>

#include "host/status.h"
#include "service/clock.h"

namespace service {
namespace {

// For "no due time": the timer must be set all the same, as only a set timer is cancelled by a step of the clock.
constexpr time_t far_away = std::numeric_limits<int32_t>::max() * time_t{4};

}  // namespace

host::Result<void> Alarm::open(Ring ring) {
  timer_ = host::FileDescriptor(timerfd_create(CLOCK_REALTIME, TFD_CLOEXEC | TFD_NONBLOCK));
  if (!timer_) return host::Error{host::err_io, std::string("cannot make a timer: ") + std::strerror(errno)};
  ring_ = std::move(ring);
  offset_ms_ = wall_clock_offset_ms();
  watch_ = host::Watch::readable(timer_.get(), [this] { on_readable(); });
  set_for_ = -1;
  set(0);
  return {};
}

void Alarm::set(time_t moment) {
  if (!timer_ || moment == set_for_) return;
  set_for_ = moment;
  itimerspec when = {};
  when.it_value.tv_sec = moment == 0 ? far_away : moment;
  // If the clock was set just before, this call fails with ECANCELED, and the descriptor does not report it again.
  constexpr int flags = TFD_TIMER_ABSTIME | TFD_TIMER_CANCEL_ON_SET;
  if (timerfd_settime(timer_.get(), flags, &when, nullptr) != 0 && errno == ECANCELED)
    set_meanwhile_ = host::Watch::after_ms(0, [this] { ring(); });
}

void Alarm::on_readable() {
  uint64_t times = 0;
  const ssize_t got = read(timer_.get(), &times, sizeof times);
  if (got < 0 && errno != ECANCELED) return;  // EAGAIN: the timer was set anew before this callback
  ring();
}

// Adjustments of the speed affect both clocks alike, so the offset between them changes by steps only.
void Alarm::ring() {
  set_meanwhile_.stop();
  const int64_t before = std::exchange(offset_ms_, wall_clock_offset_ms());
  set_for_ = -1;  // the timer has expired or was cancelled: the next set() must not be skipped
  ring_(static_cast<time_t>(std::llround(static_cast<double>(offset_ms_ - before) / 1000)));
}

}  // namespace service
