// SPDX-License-Identifier: Apache-2.0
// One connected client as the server keeps it: its descriptor, who it is, and the one answer under way to it.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

#include "host/files/file_descriptor.h"
#include "host/transport/caller.h"
#include "host/transport/frame.h"
#include "host/transport/timeout.h"
#include "host/transport/transport.h"

namespace host {

// The frames of one answer, made one at a time as the client takes them.
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

struct ServedClient {
  uint64_t id = 0;
  FileDescriptor socket;
  Peer peer;
  Outbox outbox;
  FrameHeader asked;  // the request that `later` will answer
  std::shared_ptr<Later> later;
  uint32_t watched = 0;    // events of the socket
  bool hang_up = false;    // once the outbox is empty
  bool answering = false;  // no further request is read meanwhile
  Timeout deadline;
};

}  // namespace host
