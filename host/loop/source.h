// SPDX-License-Identifier: Apache-2.0
// What is behind a watch: its callback, and what the loop knows of it.
#pragma once

#include <sys/time.h>

#include <list>
#include <memory>

#include "host/loop/watch.h"

struct event;

namespace host {

class Loop;

// A timeval as libevent reads it: of the C library's own width, which on 32 bits is not the one that we ask for.
struct EventTime {
  long seconds, microseconds;
};

struct Watch::Source : std::enable_shared_from_this<Source> {
  explicit Source(Callback given) : callback(std::move(given)) {}
  Source(const Source &) = delete;
  Source &operator=(const Source &) = delete;
  ~Source() { free(); }

  void add(int watched, short events, const EventTime *timeout);
  void free();
  void call();

  Callback callback;
  event *waiting = nullptr;  // null: stopped
  bool once = false;
  bool is_called = false;  // its callback has not returned: it is not to be called within itself
  int descriptor = -1;
  short awaited = 0;  // as poll() has it

  Loop *serves_in_waits = nullptr;  // of this loop; null: it does not
  std::list<Source *>::iterator place;
  unsigned passed_over_in = 0;  // the number of that wait; 0: none
};

}  // namespace host
