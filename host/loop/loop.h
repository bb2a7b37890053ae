// SPDX-License-Identifier: Apache-2.0
// The event loop of a thread. What it waits for is added by Watch (host/loop/watch.h).
#pragma once

#include <memory>

struct event_base;

namespace host {

// The loop of the thread that makes it, which alone may run and destroy it. A process
// that was forked off must not use its parent's loop, as both would share one list of descriptors in the kernel. Throws
// std::bad_alloc when there is no memory or no descriptor for it.
class Loop {
 public:
  Loop();
  ~Loop();
  Loop(const Loop &) = delete;
  Loop &operator=(const Loop &) = delete;

  void run();  // until quit(), also when there is nothing to wait for
  void quit();
  void turn();                  // waits until something is ready, and serves it
  void turn_without_waiting();  // serves what is ready, if anything is

  static event_base *of_thread();  // there must be one

 private:
  struct Free {
    void operator()(event_base *base) const;
  };
  std::unique_ptr<event_base, Free> base_;
  event_base *before_;
};

}  // namespace host
