// SPDX-License-Identifier: Apache-2.0
// A connected client on the server's side: who it is, and the answer that is under way to it.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <memory>

#include "host/files/file_descriptor.h"
#include "host/loop/watch.h"
#include "host/refusal_report.h"
#include "host/transport/caller.h"
#include "host/transport/frame.h"
#include "host/transport/outbox.h"
#include "host/transport/transport.h"
#include "host/transport/user_counts.h"

namespace host {

// A request as it is read. One byte more than the limit, to notice a packet that is too long.
using Packet = std::array<std::byte, frame_limit + 1>;

// What all sessions of a server share.
struct SessionSetting {
  Handler handler;
  OnlyReads only_reads;
  int deadline_ms = 0;
  RefusalReport refusals = RefusalReport(1);  // of malformed frames and wrong names
  UserCounts connections, streams;
  // For the next request. Null while one is answered: another that is answered in its midst needs one of its own.
  std::unique_ptr<Packet> packet = std::make_unique_for_overwrite<Packet>();
};

// Reads a request only when the client has received the answer to the one before. Between two requests of a client the
// loop serves all others.
class Session {
 public:
  using Ended = std::function<void(Session &)>;  // must destroy the session

  Session(SessionSetting &setting, FileDescriptor socket, const Peer &peer, Ended ended);
  Session(const Session &) = delete;
  Session &operator=(const Session &) = delete;

  int socket() const { return socket_.get(); }

 private:
  template <typename Event>
  Watch::Callback ending_if_it_fails(Event event);
  void await_request();
  void read_request();
  bool has_to_wait(Packet &packet) const;
  void read_into(Packet &packet);
  void take_packet(Packet &packet, std::size_t size);
  void take_request(const Frame &frame);
  void respond(const FrameHeader &request, Answer &&answer);
  bool may_stream() const;
  void await_answer(const FrameHeader &request, std::shared_ptr<PendingAnswer> pending);
  void take_answer();
  void refuse(uint32_t status);
  void push();
  void await_room(bool sent_some);
  void answered();
  void end() { ended_(*this); }

  SessionSetting &setting_;
  FileDescriptor socket_;
  Peer peer_;
  UserCounts::Held connection_, stream_;
  Ended ended_;
  Outbox outbox_;
  FrameHeader asked_;                       // the request that `pending_` will answer
  std::shared_ptr<PendingAnswer> pending_;  // declared before answer_, which watches its descriptor and has to go first
  bool hang_up_ = false;                    // close when the outbox is empty
  Watch request_, room_, gone_, answer_, deadline_;
};

}  // namespace host
