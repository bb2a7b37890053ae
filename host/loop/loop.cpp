// SPDX-License-Identifier: Apache-2.0
#include "host/loop/loop.h"

#include <event2/event.h>
#include <syslog.h>

#include <cassert>
#include <cerrno>
#include <new>
#include <utility>

#include "platform/syslog.h"

namespace host {

namespace {

thread_local event_base *loop_of_thread = nullptr;

// By default libevent writes to standard error, which nobody reads in a service.
void report(int, const char *message) {
  const int saved = errno;
  tarn_syslog(LOG_WARNING, "event loop: %s", message);
  errno = saved;
}

// Environment variables must not choose the kernel interface (libevent has such). One thread alone uses a loop, so it
// needs no locks.
event_base *new_base() {
  event_set_log_callback(report);
  const std::unique_ptr<event_config, decltype(&event_config_free)> config(event_config_new(), event_config_free);
  if (!config || event_config_require_features(config.get(), EV_FEATURE_EARLY_CLOSE) != 0 ||
      event_config_set_flag(config.get(), EVENT_BASE_FLAG_NOLOCK | EVENT_BASE_FLAG_IGNORE_ENV) != 0)
    throw std::bad_alloc();
  event_base *base = event_base_new_with_config(config.get());
  if (base == nullptr) throw std::bad_alloc();
  return base;
}

}  // namespace

void Loop::Free::operator()(event_base *base) const {
  event_base_free(base);
}

Loop::Loop() : base_(new_base()), before_(std::exchange(loop_of_thread, base_.get())) {}

Loop::~Loop() {
  loop_of_thread = before_;
}

void Loop::run() {
  event_base_loop(base_.get(), EVLOOP_NO_EXIT_ON_EMPTY);
}

void Loop::quit() {
  event_base_loopbreak(base_.get());
}

void Loop::turn() {
  event_base_loop(base_.get(), EVLOOP_ONCE);
}

void Loop::turn_without_waiting() {
  event_base_loop(base_.get(), EVLOOP_NONBLOCK);
}

event_base *Loop::of_thread() {
  assert(loop_of_thread != nullptr);
  return loop_of_thread;
}

}  // namespace host
