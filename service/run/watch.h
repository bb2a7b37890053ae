// SPDX-License-Identifier: Apache-2.0
// What the service waits for, on the thread's default GLib main context. A callback may destroy the object that called
// it.
#pragma once

#include <glib.h>

#include <functional>
#include <utility>

namespace service {

class Watch {
 public:
  Watch() = default;
  Watch(Watch &&other) noexcept : source_(std::exchange(other.source_, nullptr)) {}
  Watch &operator=(Watch &&other) noexcept;
  ~Watch() { stop(); }

  static Watch readable(int fd, std::function<void()> ready);
  static Watch after_ms(unsigned milliseconds, std::function<void()> elapsed);  // once

  void stop();
  bool active() const { return source_ != nullptr; }

 private:
  explicit Watch(GSource *source) : source_(source) {}
  GSource *source_ = nullptr;
};

}  // namespace service
