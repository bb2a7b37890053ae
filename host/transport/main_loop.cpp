// SPDX-License-Identifier: Apache-2.0
#include "host/transport/main_loop.h"

namespace host {

// The flag makes a source that is added while `serve` works end the wait, which does not know of it yet.
MainLoop::MainLoop() : context_(g_main_context_new_with_flags(G_MAIN_CONTEXT_FLAGS_OWNERLESS_POLLING)), polled_(8) {
  g_main_context_push_thread_default(context_);
}

MainLoop::~MainLoop() {
  g_main_context_pop_thread_default(context_);
  g_main_context_unref(context_);
}

// Milliseconds to wait for what is in polled_; negative: without end.
int MainLoop::prepare(int *priority) {
  g_main_context_prepare(context_, priority);
  for (;;) {
    int timeout = 0;
    const auto room = static_cast<int>(polled_.size());
    const int count = g_main_context_query(context_, *priority, &timeout, polled_.data(), room);
    polled_.resize(static_cast<std::size_t>(count));
    if (count <= room) return timeout;
  }
}

void MainLoop::run(const std::function<bool()> &serve) {
  while (!ended_) {
    int priority = 0, ready = 0;
    const int timeout = prepare(&priority);
    do {
      ready = g_poll(polled_.data(), static_cast<guint>(polled_.size()), timeout);
    } while (ready == 1 && timeout < 0 && serve());
    g_main_context_check(context_, priority, polled_.data(), static_cast<int>(polled_.size()));
    g_main_context_dispatch(context_);
  }
}

}  // namespace host
