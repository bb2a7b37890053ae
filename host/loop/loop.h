// SPDX-License-Identifier: Apache-2.0
// The event loop of a thread. What it waits for is added by Watch (host/loop/watch.h).
#pragma once

#include <memory>

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

  static event_base *of_thread();  // the calling thread must have a loop

 private:
  struct Free {
    void operator()(event_base *base) const;
  };
  std::unique_ptr<event_base, Free> base_;
  event_base *before_;
};

}  // namespace host
