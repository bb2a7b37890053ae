// SPDX-License-Identifier: Apache-2.0
// A client's connection to the service: kept between requests, and opened again when the service was restarted.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "host/files/file_descriptor.h"
#include "host/transport/frame.h"
#include "host/transport/transport.h"

namespace host {

class Deadline {
 public:
  static Deadline of_reply();  // now and the reply timeout
  int remaining_ms() const;    // never below 0
  bool has_passed() const;

 private:
  int64_t end_ms_ = 0;  // on the monotonic clock
};

class Connection {
 public:
  // Connects if there is no connection. If a kept connection turns out to be dead, and so has taken nothing, the
  // request is sent over a new one. A request that the service may have seen is never sent twice.
  Result<void> send(const FrameHeader &header, std::span<const std::byte> body, Deadline deadline);

  bool usable() const;  // connected by this process (not before a fork) to the socket of its paths
  // On a usable connection: the next frame with this token; others are answers that nobody waits for any more. Valid
  // until the next receive.
  Result<Frame> receive(uint32_t service, uint32_t token, Deadline deadline);

  std::span<const std::byte> frame() const { return frame_; }  // the one last received, whole
  void close() { socket_ = FileDescriptor(); }

 private:
  Result<void> open(Deadline deadline);
  Result<void> transmit(const FrameHeader &header, std::span<const std::byte> body, Deadline deadline);
  bool limit_receive(Deadline deadline);
  Result<Frame> receive_frame(Deadline deadline);
  Result<void> receive_packet(Deadline deadline);
  std::optional<Error> refusal();
  Error give_up(Error error);

  FileDescriptor socket_;
  std::string path_;
  int forks_ = 0;              // when it connected: a forked child must not use its parent's connection
  int receive_limit_ms_ = -1;  // none set yet
  Bytes buffer_;
  std::span<const std::byte> frame_, rest_;  // in the buffer: the last frame, and what was received behind it
};

uint32_t next_token();  // never 0

}  // namespace host
