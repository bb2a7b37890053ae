// SPDX-License-Identifier: Apache-2.0
#include "host/loop/watch.h"

#include <event2/event.h>
#include <poll.h>
#include <syslog.h>

#include <exception>
#include <new>

#include "host/loop/loop.h"
#include "host/loop/source.h"
#include "platform/syslog.h"

namespace host {

// No exception may unwind through libevent, which is C: this is the one place that catches them.
void Watch::Source::call() {
  const std::shared_ptr<Source> kept = shared_from_this();
  if (once) free();
  is_called = true;
  try {
    callback();
  } catch (const std::exception &exception) {
    tarn_syslog(LOG_ERR, "an event was not served to its end: %s", exception.what());
  }
  is_called = false;
}

void Watch::Source::add(int watched, short events, const EventTime *timeout) {
  descriptor = watched;
  awaited = static_cast<short>(((events & EV_READ) != 0 ? POLLIN : 0) | ((events & EV_WRITE) != 0 ? POLLOUT : 0));
  const auto ring = [](int, short, void *source) { static_cast<Source *>(source)->call(); };
  waiting = event_new(Loop::of_thread().base(), watched, events, ring, this);
  if (waiting == nullptr || event_add(waiting, reinterpret_cast<const timeval *>(timeout)) != 0) throw std::bad_alloc();
}

void Watch::Source::free() {
  if (waiting != nullptr) event_free(std::exchange(waiting, nullptr));
  if (serves_in_waits != nullptr) std::exchange(serves_in_waits, nullptr)->in_waits_.erase(place);
}

Watch &Watch::operator=(Watch &&other) noexcept {
  if (this == &other) return *this;
  stop();
  source_ = std::move(other.source_);
  return *this;
}

Watch Watch::on_descriptor(int descriptor, short events, Callback callback) {
  auto source = std::make_shared<Source>(std::move(callback));
  source->add(descriptor, static_cast<short>(events | EV_PERSIST), nullptr);
  return Watch(std::move(source));
}

Watch Watch::readable(int descriptor, Callback callback) {
  return on_descriptor(descriptor, EV_READ, std::move(callback));
}

Watch Watch::writable(int descriptor, Callback callback) {
  return on_descriptor(descriptor, EV_WRITE, std::move(callback));
}

Watch Watch::hung_up(int descriptor, Callback callback) {
  return on_descriptor(descriptor, EV_CLOSED, std::move(callback));
}

Watch Watch::after_ms(unsigned milliseconds, Callback callback) {
  auto source = std::make_shared<Source>(std::move(callback));
  const EventTime after = {static_cast<long>(milliseconds / 1000), static_cast<long>(milliseconds % 1000) * 1000};
  source->once = true;
  source->add(-1, 0, &after);
  return Watch(std::move(source));
}

Watch Watch::also_in_waits() && {
  Loop &loop = Loop::of_thread();
  source_->place = loop.in_waits_.insert(loop.in_waits_.end(), source_.get());
  source_->serves_in_waits = &loop;
  return std::move(*this);
}

void Watch::pass_over() {
  if (source_) source_->passed_over_in = Loop::of_thread().wait_;
}

// A callback that is running holds a reference of its own to the source.
void Watch::stop() {
  if (!source_) return;
  source_->free();
  source_.reset();
}

bool Watch::active() const {
  return source_ && source_->waiting != nullptr;
}

}  // namespace host
