// SPDX-License-Identifier: Apache-2.0
// The frames of one answer, built one packet at a time as the client receives them. Small pieces of a stream share a
// packet.
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
  Progress push(int socket);  // sends at most one packet

 private:
  void queue(Bytes body, uint32_t flags);
  void append(const Bytes &body);
  bool fill();
  void take_piece();

  FrameHeader header_;
  Bytes packet_;  // the frames that are sent next
  Bytes piece_;   // did not fit into the packet
  bool has_piece_ = false;
  std::function<std::optional<Bytes>()> next_;
};

}  // namespace host
