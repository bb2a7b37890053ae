// SPDX-License-Identifier: Apache-2.0
#include "host/loop/watch.h"

#include <event2/event.h>
#include <sys/time.h>
#include <syslog.h>

#include <exception>
#include <new>

#include "host/loop/loop.h"
#include "platform/syslog.h"

namespace host {
namespace {

// A timeval as libevent reads it: of the C library's own width, which on 32 bits is not the one that we ask for.
struct EventTime {
  long seconds, microseconds;
};

}  // namespace

struct Watch::Source : std::enable_shared_from_this<Source> {
  explicit Source(Callback given) : callback(std::move(given)) {}
  Source(const Source &) = delete;
  Source &operator=(const Source &) = delete;
  ~Source() { free(); }

  void add(int descriptor, short events, const EventTime *timeout);
  void free() {
    if (waiting != nullptr) event_free(std::exchange(waiting, nullptr));
  }
  static void call(int descriptor, short events, void *source);

  Callback callback;
  event *waiting = nullptr;  // null: stopped
  bool once = false;
};

// No exception may unwind through libevent, which is C: this is the one place that catches them.
void Watch::Source::call(int, short, void *source) {
  const std::shared_ptr<Source> kept = static_cast<Source *>(source)->shared_from_this();
  if (kept->once) kept->free();
  try {
    kept->callback();
  } catch (const std::exception &exception) {
    tarn_syslog(LOG_ERR, "an event was not served to its end: %s", exception.what());
  }
}

void Watch::Source::add(int descriptor, short events, const EventTime *timeout) {
  waiting = event_new(Loop::of_thread(), descriptor, events, &Source::call, this);
  if (waiting == nullptr || event_add(waiting, reinterpret_cast<const timeval *>(timeout)) != 0) throw std::bad_alloc();
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
