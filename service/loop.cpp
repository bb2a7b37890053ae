// SPDX-License-Identifier: Apache-2.0
#include "service/loop.h"

#include <glib-unix.h>

#include <utility>

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

gpointer keep(std::function<void()> function) {
  return new Callback(std::make_shared<std::function<void()>>(std::move(function)));
}

}  // namespace

Watch &Watch::operator=(Watch &&other) noexcept {
  if (this != &other) {
    stop();
    id_ = std::exchange(other.id_, 0);
  }
  return *this;
}

Watch Watch::readable(int fd, std::function<void()> ready) {
  const auto condition = static_cast<GIOCondition>(G_IO_IN | G_IO_HUP | G_IO_ERR);
  return Watch(g_unix_fd_add_full(G_PRIORITY_DEFAULT, fd, condition, on_readable, keep(std::move(ready)), forget));
}

// The owner stops it in the callback: a source that ended by itself would leave a stale id behind.
Watch Watch::after_ms(unsigned milliseconds, std::function<void()> elapsed) {
  return Watch(g_timeout_add_full(G_PRIORITY_DEFAULT, milliseconds, on_elapsed, keep(std::move(elapsed)), forget));
}

void Watch::stop() {
  if (id_ != 0) g_source_remove(std::exchange(id_, 0));
}

}  // namespace service
