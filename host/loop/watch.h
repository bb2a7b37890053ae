// SPDX-License-Identifier: Apache-2.0
// Something that the thread's loop waits for: a descriptor or a time.
#pragma once

#include <functional>
#include <memory>
#include <utility>

namespace host {

// Calls back from the loop's turn until it is stopped or destroyed. The callback may stop or destroy its own watch and
// the object that the watch is part of. An exception ends there: the system log tells it, and the loop goes on. To be
// stopped before its descriptor is closed, and before the loop ends.
class Watch {
 public:
  using Callback = std::function<void()>;

  Watch() = default;  // waits for nothing
  Watch(Watch &&) noexcept = default;
  Watch &operator=(Watch &&other) noexcept;
  ~Watch() { stop(); }

  // These throw std::bad_alloc when the loop or the kernel cannot take one more. Each callback but that of after_ms
  // comes again for as long as the descriptor is ready.
  static Watch readable(int descriptor, Callback callback);  // also at the end of what it reads, and on an error
  static Watch writable(int descriptor, Callback callback);  // also on an error
  static Watch hung_up(int descriptor,
                       Callback callback);  // the other end sends no more; what it sent may still be unread
  static Watch after_ms(unsigned milliseconds, Callback callback);  // once; then it is not active any more

  void stop();
  bool active() const;

 private:
  struct Source;
  explicit Watch(std::shared_ptr<Source> source) : source_(std::move(source)) {}
  static Watch on_descriptor(int descriptor, short events, Callback callback);

  std::shared_ptr<Source> source_;
};

}  // namespace host
