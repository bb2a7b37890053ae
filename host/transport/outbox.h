// SPDX-License-Identifier: Apache-2.0
// The frames of one answer, made one at a time as the client takes them.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>

#include "host/transport/frame.h"
#include "host/transport/transport.h"

namespace host {

class Outbox {
 public:
  void refuse(uint32_t status);  // of the connection
  void answer(const FrameHeader &request, Answer &&answer);

  enum class Progress { done, blocked, more, failed };
  Progress push(int socket);  // sends at most one frame

 private:
  void queue(Bytes body, uint32_t flags);
  bool next_frame();

  FrameHeader header_;
  Bytes body_;
  bool unsent_ = false;
  std::function<std::optional<Bytes>()> next_;
};

}  // namespace host
