// SPDX-License-Identifier: Apache-2.0
// A one-shot timer on the thread's default GLib main context that goes with its owner.
#pragma once

#include <glib.h>

#include <functional>
#include <utility>

namespace host {

class Timeout {
 public:
  Timeout() = default;
  Timeout(const Timeout &) = delete;
  Timeout &operator=(const Timeout &) = delete;
  ~Timeout() { cancel(); }

  void start(int milliseconds, std::function<void()> then) {
    cancel();
    then_ = std::move(then);
    source_ = g_timeout_source_new(static_cast<guint>(milliseconds));
    g_source_set_callback(source_, &Timeout::fire, this, nullptr);
    g_source_attach(source_, g_main_context_get_thread_default());
  }

  bool running() const { return source_ != nullptr; }

  void cancel() {
    if (source_ == nullptr) return;
    g_source_destroy(source_);
    g_source_unref(source_);
    source_ = nullptr;
    then_ = nullptr;
  }

 private:
  static gboolean fire(void *timeout) {
    auto *self = static_cast<Timeout *>(timeout);
    const std::function<void()> then = std::move(self->then_);
    self->cancel();
    then();  // may destroy the owner, and this timeout with it
    return G_SOURCE_REMOVE;
  }

  GSource *source_ = nullptr;
  std::function<void()> then_;
};

}  // namespace host
