// SPDX-License-Identifier: Apache-2.0
#include "host/transport/session.h"

#include <sys/socket.h>

#include <cerrno>
#include <cstddef>
#include <cstring>

#include "host/guard.h"
#include "host/status.h"

namespace host {

namespace {

constexpr int packets_at_once = 2;  // of one stream in a turn of the loop: about a millisecond, then other clients

Answer only_status(uint32_t status) {
  Answer answer;
  answer.status = status;
  return answer;
}

// What a request has left there and in the registers that moved it: a cipher leaves its last block, and the linker,
// when it resolves a name, all vector registers. The size is several times what a request uses.
[[gnu::noinline, gnu::no_sanitize_address]] void wipe_stack_below() {
  static void *(*const volatile move)(void *, const void *, std::size_t) = std::memmove;  // not to be left out
  std::byte below[16384];
  explicit_bzero(below, sizeof below);
  for (std::size_t size = 16; size <= 1024; size *= 2)
    move(below + size, below, size);
  explicit_bzero(below, sizeof below);
}

// Without memory the client gets an error, and the session goes on.
Answer ask(const Handler &handler, const Incoming &incoming) {
  return guarded([&] { return handler(incoming); }, [] { return only_status(err_no_memory); });
}

}  // namespace

Session::Session(SessionSetting &setting, FileDescriptor socket, const Peer &peer, Ended ended)
    : setting_(setting),
      socket_(std::move(socket)),
      peer_(peer),
      connection_(setting.connections.take(peer.credentials.uid)),
      ended_(std::move(ended)) {
  await_request();
}

// After an exception the session is ended: otherwise its client would wait for an answer for ever.
template <typename Event>
Watch::Callback Session::ending_if_it_fails(Event event) {
  return [this, event] {
    try {
      event();
    } catch (...) {
      end();
      throw;
    }
  };
}

void Session::await_request() {
  request_ = Watch::readable(socket(), ending_if_it_fails([this] { read_request(); })).also_in_waits();
}

// The setting outlives this session, which the request may end.
void Session::read_request() {
  SessionSetting &setting = setting_;
  std::unique_ptr<Packet> packet = std::move(setting.packet);
  if (!packet) packet = std::make_unique_for_overwrite<Packet>();
  if (Watch::is_waiting() && has_to_wait(*packet))
    request_.pass_over();
  else
    read_into(*packet);
  setting.packet = std::move(packet);
}

// In the midst of another request's change: looks at the request without taking it.
bool Session::has_to_wait(Packet &packet) const {
  const ssize_t size = ::recv(socket(), packet.data(), packet.size(), MSG_PEEK | MSG_DONTWAIT);
  Frame frame;
  if (size <= 0 || !parse_frame({packet.data(), static_cast<std::size_t>(size)}, &frame)) return false;
  const bool waits = !setting_.only_reads || !setting_.only_reads(frame.header.service, frame.body);
  explicit_bzero(packet.data(), static_cast<std::size_t>(size));  // a password may be in it
  return waits;
}

void Session::read_into(Packet &packet) {
  iovec part = {packet.data(), packet.size()};
  msghdr message = {};  // no room for control data: the kernel discards descriptors that a client passes
  message.msg_iov = &part;
  message.msg_iovlen = 1;
  const ssize_t size = ::recvmsg(socket(), &message, MSG_DONTWAIT);
  if (size < 0 && (errno == EAGAIN || errno == EINTR)) return;
  if (size <= 0) return end();  // closed; an empty packet looks the same
  if ((message.msg_flags & MSG_CTRUNC) != 0) return refuse(err_bad_request);
  take_packet(packet, static_cast<std::size_t>(size));
}

// After a frame was answered no member may be used: the answer may have destroyed the session.
void Session::take_packet(Packet &packet, std::size_t size) {
  if (size > frame_limit) return refuse(err_too_large);
  Frame frame;
  if (!parse_frame({packet.data(), size}, &frame) || frame.header.kind != FrameKind::request)
    return refuse(err_bad_request);
  take_request(frame);
  if (frame.header.service != service_control) return;
  explicit_bzero(packet.data(), size);  // a password may have been in it
  wipe_stack_below();
}

void Session::take_request(const Frame &frame) {
  Incoming incoming = {frame.header.service, frame.header.message_class, frame.body, {}};
  if (const uint32_t status = identify_caller(&peer_, frame.header, &incoming.caller)) {
    setting_.refusals.add(peer_.credentials.pid, peer_.text(), status);
    return respond(frame.header, only_status(status));
  }
  respond(frame.header, ask(setting_.handler, incoming));
}

void Session::respond(const FrameHeader &request, Answer &&answer) {
  if (answer.pending) return await_answer(request, std::move(answer.pending));
  if (answer.next) {
    if (!may_stream()) return respond(request, only_status(err_too_many_streams));
    stream_ = setting_.streams.take(peer_.credentials.uid);
  }
  outbox_.answer(request, std::move(answer));
  push();
}

bool Session::may_stream() const {
  return !peer_.is_limited() || setting_.streams.of(peer_.credentials.uid) < user_stream_limit;
}

void Session::await_answer(const FrameHeader &request, std::shared_ptr<PendingAnswer> pending) {
  request_.stop();
  asked_ = request;
  pending_ = std::move(pending);
  const auto take = ending_if_it_fails([this] { take_answer(); });
  answer_ = Watch::readable(pending_->descriptor, take);
  deadline_ = Watch::after_ms(static_cast<unsigned>(pending_->deadline_ms), take);
  gone_ = Watch::hung_up(socket(), [this] { end(); });
}

void Session::take_answer() {
  answer_.stop();
  deadline_.stop();
  gone_.stop();
  const std::shared_ptr<PendingAnswer> pending = std::move(pending_);
  Answer answer = pending->answer();
  answer.pending.reset();
  respond(asked_, std::move(answer));
}

void Session::refuse(uint32_t status) {
  setting_.refusals.add(peer_.credentials.pid, peer_.text(), status);
  hang_up_ = true;
  outbox_.refuse(status);
  push();
}

void Session::push() {
  auto progress = Outbox::Progress::more;
  bool sent_some = false;
  for (int i = 0; i < packets_at_once && progress == Outbox::Progress::more; i++) {
    progress = outbox_.push(socket());
    sent_some = sent_some || progress != Outbox::Progress::blocked;
  }
  if (progress == Outbox::Progress::done)
    answered();
  else if (progress == Outbox::Progress::failed)
    end();
  else
    await_room(sent_some);
}

void Session::answered() {
  if (hang_up_) return end();
  room_.stop();
  deadline_.stop();
  stream_ = {};
  if (!request_.active()) await_request();
}

void Session::await_room(bool sent_some) {
  request_.stop();
  if (!room_.active()) room_ = Watch::writable(socket(), ending_if_it_fails([this] { push(); })).also_in_waits();
  if (sent_some || !deadline_.active())
    deadline_ = Watch::after_ms(static_cast<unsigned>(setting_.deadline_ms), [this] { end(); });
}

}  // namespace host
