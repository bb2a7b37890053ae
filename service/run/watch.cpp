// SPDX-License-Identifier: Apache-2.0
#include "service/run/watch.h"

#include <glib-unix.h>

#include <memory>

namespace service {
namespace {

using Callback = std::shared_ptr<std::function<void()>>;

// The copy keeps the callback alive while it runs, also when it removes its own source.
void call(gpointer data) {
  Callback callback = *static_cast<Callback *>(data);
  (*callback)();
}

gboolean on_readable(gint, GIOCondition, gpointer data) {
  call(data);
  return G_SOURCE_CONTINUE;
}

gboolean on_elapsed(gpointer data) {
  call(data);
  return G_SOURCE_CONTINUE;
}

void forget(gpointer data) {
  delete static_cast<Callback *>(data);
}

GSource *attach(GSource *source, GSourceFunc callback, std::function<void()> function) {
  g_source_set_callback(source, callback, new Callback(std::make_shared<std::function<void()>>(std::move(function))),
                        forget);
  g_source_attach(source, g_main_context_get_thread_default());
  return source;
}

}  // namespace

Watch &Watch::operator=(Watch &&other) noexcept {
  if (this != &other) {
    stop();
    source_ = std::exchange(other.source_, nullptr);
  }
  return *this;
}

Watch Watch::readable(int fd, std::function<void()> ready) {
  const auto condition = static_cast<GIOCondition>(G_IO_IN | G_IO_HUP | G_IO_ERR);
  return Watch(attach(g_unix_fd_source_new(fd, condition), G_SOURCE_FUNC(on_readable), std::move(ready)));
}

// The owner stops it in the callback.
Watch Watch::after_ms(unsigned milliseconds, std::function<void()> elapsed) {
  return Watch(attach(g_timeout_source_new(milliseconds), on_elapsed, std::move(elapsed)));
}

void Watch::stop() {
  GSource *source = std::exchange(source_, nullptr);
  if (source == nullptr) return;
  g_source_destroy(source);
  g_source_unref(source);
}

}  // namespace service
