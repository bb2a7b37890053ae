// SPDX-License-Identifier: Apache-2.0
// Something that the thread's loop waits for: a descriptor or a time.
#pragma once

#include <functional>
#include <memory>
#include <utility>

namespace host {

// Calls back from the loop until it is stopped or destroyed. The callback may stop or destroy its own watch and the
// object that the watch is part of. An exception that it throws is logged, and the loop goes on. Stop the watch before
// its descriptor is closed and before the loop is destroyed.
class Watch {
 public:
  using Callback = std::function<void()>;

  Watch() = default;  // waits for nothing
  Watch(Watch &&) noexcept = default;
  Watch &operator=(Watch &&other) noexcept;
  ~Watch() { stop(); }

  // Each throws std::bad_alloc when the loop or the kernel cannot take one more. Except for after_ms, the callback is
  // called again for as long as the descriptor is ready.
  static Watch readable(int descriptor, Callback callback);  // also at end of file, and on an error
  static Watch writable(int descriptor, Callback callback);  // also on an error
  // The other end sends no more; what it has sent may still be unread.
  static Watch hung_up(int descriptor, Callback callback);
  static Watch after_ms(unsigned milliseconds, Callback callback);  // once; then the watch is inactive

  // Of a descriptor: also served while a callback of the loop waits (serve_until_readable). It must not change
  // what other callbacks work on.
  Watch also_in_waits() &&;
  // Within a wait: not called again before the wait has ended. Otherwise without effect.
  void pass_over();

  // For a callback that has to wait: returns when `descriptor` is readable, and until then serves the thread's watches
  // that are also_in_waits, and no others. Waits do not nest.
  static void serve_until_readable(int descriptor) noexcept;
  static bool is_waiting();

  void stop();
  bool active() const;

 private:
  struct Source;
  explicit Watch(std::shared_ptr<Source> source) : source_(std::move(source)) {}
  static bool serve_once(int descriptor);
  static Watch on_descriptor(int descriptor, short events, Callback callback);

  std::shared_ptr<Source> source_;
};

}  // namespace host
