// SPDX-License-Identifier: Apache-2.0
// The event loop of a thread. What it waits for is added by Watch (host/loop/watch.h).
#pragma once

#include <list>
#include <memory>

#include "host/loop/watch.h"

struct event_base;

namespace host {

// The loop of the thread that creates it, which alone may run and destroy it. A forked process must not use its
// parent's loop, as both would share one list of descriptors in the kernel. Throws std::bad_alloc when there is no
// memory or no descriptor for it.
class Loop {
 public:
  Loop();
  ~Loop();
  Loop(const Loop &) = delete;
  Loop &operator=(const Loop &) = delete;

  void run();  // until quit(), also when there is nothing to wait for
  void quit();
  void turn();                  // waits until something is ready, then calls back
  void turn_without_waiting();  // calls back for what is ready now

  // For a callback that has to wait: returns when `descriptor` is readable, and until then serves the watches that are
  // also_in_waits, and no others. Waits do not nest.
  void serve_until_readable(int descriptor) noexcept;
  bool waits() const { return wait_ != 0; }

  static Loop &of_thread();  // the calling thread must have a loop
  event_base *base() const { return base_.get(); }

 private:
  friend class Watch;
  bool serve_once(int descriptor);
  struct Free {
    void operator()(event_base *base) const;
  };
  std::unique_ptr<event_base, Free> base_;
  Loop *before_;
  std::list<Watch::Source *> in_waits_;
  unsigned wait_ = 0, last_wait_ = 0;  // the number of the wait that is under way; 0: none
};

}  // namespace host
