// SPDX-License-Identifier: Apache-2.0
// What the loop serves while one of its callbacks waits. libevent's loop cannot run within itself, so these few watches
// are polled beside it; what libevent had found ready before may then be called once more, and finds nothing.
#include <poll.h>

#include <vector>

#include "host/guard.h"
#include "host/loop/loop.h"
#include "host/loop/source.h"

namespace host {
namespace {

void wait_until_readable(int descriptor) {
  pollfd polled = {descriptor, POLLIN, 0};
  while (poll(&polled, 1, -1) <= 0) {
  }
}

}  // namespace

// Returns whether the descriptor is readable.
bool Loop::serve_once(int descriptor) {
  std::vector<pollfd> polled = {{descriptor, POLLIN, 0}};
  std::vector<std::shared_ptr<Watch::Source>> sources;
  for (Watch::Source *source : in_waits_) {
    if (source->is_called || source->passed_over_in == wait_) continue;
    polled.push_back({source->descriptor, source->awaited, 0});
    sources.push_back(source->shared_from_this());
  }
  if (poll(polled.data(), polled.size(), -1) <= 0) return false;
  for (std::size_t i = 0; i < sources.size(); i++)
    if (polled[i + 1].revents != 0 && sources[i]->waiting != nullptr) sources[i]->call();
  return polled.front().revents != 0;
}

// Without memory nobody is served: the wait itself needs none.
void Loop::serve_until_readable(int descriptor) noexcept {
  const auto wait_alone = [descriptor] {
    wait_until_readable(descriptor);
    return true;
  };
  if (waits()) return wait_until_readable(descriptor);
  if (++last_wait_ == 0) ++last_wait_;
  wait_ = last_wait_;
  while (!guarded([&] { return serve_once(descriptor); }, wait_alone)) {
  }
  wait_ = 0;
}

}  // namespace host
