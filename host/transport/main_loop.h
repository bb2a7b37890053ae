// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <glib.h>

#include <functional>
#include <vector>

namespace host {

// A GLib main loop whose wait can do the most frequent work by itself: a turn of GLib's own costs as much as a small
// request. Its context is the default one of the thread that made it, which also runs and destroys it.
class MainLoop {
 public:
  MainLoop();
  ~MainLoop();
  MainLoop(const MainLoop &) = delete;
  MainLoop &operator=(const MainLoop &) = delete;

  // Until quit(). `serve` is asked when one descriptor is ready and no time runs. True: it has done all that there was
  // to do. False: the sources have their turn, as they must every so often.
  void run(const std::function<bool()> &serve);
  void quit() { ended_ = true; }  // from a callback of a source
  GMainContext *context() const { return context_; }

 private:
  int prepare(int *priority);

  GMainContext *context_;
  std::vector<GPollFD> polled_;
  bool ended_ = false;
};

}  // namespace host
