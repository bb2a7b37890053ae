// SPDX-License-Identifier: Apache-2.0
#include "host/loop/watch.h"

#include <event2/event.h>
#include <poll.h>
#include <syslog.h>

#include <cerrno>
#include <exception>
#include <list>
#include <new>
#include <vector>

#include "host/guard.h"
#include "host/loop/loop.h"
#include "platform/syslog.h"

namespace host {
namespace {

// A timeval as libevent reads it: of the C library's own width, which on 32 bits is not the one that we ask for.
struct EventTime {
  long seconds, microseconds;
};

thread_local unsigned wait = 0, last_wait = 0;  // the number of the wait that is under way; 0: none

void wait_until_readable(int descriptor) {
  pollfd polled = {descriptor, POLLIN, 0};
  while (poll(&polled, 1, -1) <= 0) {
  }
}

}  // namespace

struct Watch::Source : std::enable_shared_from_this<Source> {
  explicit Source(Callback given) : callback(std::move(given)) {}
  Source(const Source &) = delete;
  Source &operator=(const Source &) = delete;
  ~Source() { free(); }

  static std::list<Source *> &in_waits() {
    thread_local std::list<Source *> sources;
    return sources;
  }

  void add(int watched, short events, const EventTime *timeout);
  bool can_add(short events, const EventTime *timeout);
  void free();
  void call();

  Callback callback;
  event *waiting = nullptr;  // null: stopped
  bool once = false;
  bool is_called = false;  // its callback has not returned: it is not to be called within itself
  int descriptor = -1;
  short awaited = 0;  // as poll() has it

  bool serves_in_waits = false;
  std::list<Source *>::iterator place;
  unsigned passed_over_in = 0;  // the number of that wait; 0: none
};

// No exception may unwind through libevent, which is C: this is the one place that catches them.
void Watch::Source::call() {
  const std::shared_ptr<Source> kept = weak_from_this().lock();  // never empty: a watch holds it
  if (once) free();
  is_called = true;
  try {
    callback();
  } catch (const std::exception &exception) {
    tarn_syslog(LOG_ERR, "an event was not served to its end: %s", exception.what());
  }
  is_called = false;
}

bool Watch::Source::can_add(short events, const EventTime *timeout) {
  const auto ring = [](int, short, void *source) { static_cast<Source *>(source)->call(); };
  if (waiting == nullptr) waiting = event_new(Loop::of_thread(), descriptor, events, ring, this);
  return waiting != nullptr && event_add(waiting, reinterpret_cast<const timeval *>(timeout)) == 0;
}

// libevent takes its memory from malloc(), which does not ask the handler that operator new has for want of it.
void Watch::Source::add(int watched, short events, const EventTime *timeout) {
  descriptor = watched;
  awaited = static_cast<short>((events & EV_WRITE) != 0 ? POLLOUT : POLLIN);
  while (!can_add(events, timeout)) {
    const std::new_handler make_room = std::get_new_handler();
    if (errno != ENOMEM || make_room == nullptr) throw std::bad_alloc();
    make_room();  // throws where there is none left
  }
}

void Watch::Source::free() {
  if (waiting != nullptr) event_free(std::exchange(waiting, nullptr));
  if (std::exchange(serves_in_waits, false)) in_waits().erase(place);
}

Watch &Watch::operator=(Watch &&other) noexcept {
  Watch moved(std::move(other));
  stop();
  source_.swap(moved.source_);
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
  std::list<Source *> &sources = Source::in_waits();
  source_->place = sources.insert(sources.end(), source_.get());
  source_->serves_in_waits = true;
  return std::move(*this);
}

void Watch::pass_over() {
  if (source_) source_->passed_over_in = wait;
}

bool Watch::is_waiting() {
  return wait != 0;
}

// libevent's loop cannot run within itself, so these few watches are polled beside it; what libevent had found ready
// before may then be called once more, and finds nothing. Returns whether the descriptor is readable.
bool Watch::serve_once(int descriptor) {
  std::vector<pollfd> polled = {{descriptor, POLLIN, 0}};
  std::vector<std::shared_ptr<Source>> sources;
  for (Source *source : Source::in_waits()) {
    if (source->is_called || source->passed_over_in == wait) continue;
    polled.push_back({source->descriptor, source->awaited, 0});
    sources.push_back(source->weak_from_this().lock());
  }
  if (poll(polled.data(), polled.size(), -1) <= 0) return false;
  for (std::size_t i = 0; i < sources.size(); i++)
    if (polled[i + 1].revents != 0 && sources[i]->waiting != nullptr) sources[i]->call();
  return polled.front().revents != 0;
}

// Without memory nobody is served: the wait itself needs none.
void Watch::serve_until_readable(int descriptor) noexcept {
  const auto wait_alone = [descriptor] {
    wait_until_readable(descriptor);
    return true;
  };
  if (is_waiting()) return wait_until_readable(descriptor);
  if (++last_wait == 0) ++last_wait;
  wait = last_wait;
  while (!guarded([&] { return serve_once(descriptor); }, wait_alone)) {
  }
  wait = 0;
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
