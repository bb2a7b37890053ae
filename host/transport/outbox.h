// SPDX-License-Identifier: Apache-2.0
// The frames of one answer, made a packet at a time as the client takes them: small pieces of a stream go together.
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
  Bytes packet_;  // of frames that are to be sent
  Bytes piece_;   // that did not fit behind them
  bool has_piece_ = false;
  std::function<std::optional<Bytes>()> next_;
};

}  // namespace host
