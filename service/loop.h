// SPDX-License-Identifier: Apache-2.0
// What the service waits for on the default GLib main context. A callback may destroy the object that called it.
#pragma once

#include <glib.h>

#include <functional>
#include <memory>
#include <utility>

namespace service {

class Watch {
 public:
  Watch() = default;
  Watch(Watch &&other) noexcept : id_(std::exchange(other.id_, 0)) {}
  Watch &operator=(Watch &&other) noexcept;
  ~Watch() { stop(); }

  static Watch readable(int fd, std::function<void()> ready);
  static Watch after_ms(unsigned milliseconds, std::function<void()> elapsed);  // once

  void stop();
  bool active() const { return id_ != 0; }

 private:
  explicit Watch(guint id) : id_(id) {}
  guint id_ = 0;
};

}  // namespace service
