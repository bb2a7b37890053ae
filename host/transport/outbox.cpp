// SPDX-License-Identifier: Apache-2.0
#include <cerrno>

#include "host/status.h"
#include "host/transport/outbox.h"

namespace host {

namespace {

// Splits `whole` into pieces that each fit in a frame.
std::function<std::optional<Bytes>()> pieces_of(Bytes whole) {
  auto rest = std::make_shared<Bytes>(std::move(whole));
  return [rest, offset = std::size_t{0}]() mutable -> std::optional<Bytes> {
    if (offset == rest->size()) return std::nullopt;
    const std::size_t size = std::min(frame_body_limit, rest->size() - offset);
    const auto begin = rest->begin() + static_cast<std::ptrdiff_t>(offset);
    offset += size;
    return Bytes(begin, begin + static_cast<std::ptrdiff_t>(size));
  };
}

}  // namespace

void Outbox::refuse(uint32_t status) {
  header_ = {};
  header_.kind = FrameKind::refusal;
  header_.status = status;
  queue({}, 0);
}

void Outbox::answer(const FrameHeader &request, Answer &&answer) {
  header_ = {};
  header_.kind = FrameKind::reply;
  header_.service = request.service;
  header_.message_class = request.message_class;
  header_.token = request.token;
  header_.status = answer.status;
  next_ = nullptr;
  Bytes first = answer.reply ? std::move(*answer.reply) : Bytes{};
  if (answer.status != 0) return queue({}, 0);
  if (!answer.next && request.service == service_control && first.size() > frame_body_limit) {
    next_ = pieces_of(std::move(first));
    return;
  }
  next_ = std::move(answer.next);
  if (!next_)
    queue(std::move(first), 0);
  else if (answer.reply)
    queue(std::move(first), frame_flag_more);
}

void Outbox::queue(Bytes body, uint32_t flags) {
  if (body.size() > frame_body_limit) {
    body.clear();
    header_.status = err_too_large;
    flags = 0;
    next_ = nullptr;
  }
  header_.flags = flags;
  append(body);
}

void Outbox::append(const Bytes &body) {
  header_.length = static_cast<uint32_t>(body.size());
  const auto *header = reinterpret_cast<const std::byte *>(&header_);
  packet_.insert(packet_.end(), header, header + sizeof header_);
  packet_.insert(packet_.end(), body.begin(), body.end());
}

// After the last piece comes the frame that ends the stream.
void Outbox::take_piece() {
  std::optional<Bytes> piece = next_();
  if (!piece) {
    next_ = nullptr;
    header_.kind = FrameKind::stream_end;
    header_.flags = 0;
  }
  piece_ = piece ? std::move(*piece) : Bytes{};
  has_piece_ = true;
}

// Fills the packet, unless one is still being sent. False: nothing is left to send.
bool Outbox::fill() {
  if (!packet_.empty()) return true;
  while (has_piece_ || next_) {
    if (!has_piece_) take_piece();
    if (packet_.size() + sizeof header_ + piece_.size() > frame_limit && !packet_.empty()) break;
    has_piece_ = false;
    queue(std::move(piece_), next_ ? frame_flag_more : 0);
  }
  return !packet_.empty();
}

Outbox::Progress Outbox::push(int socket) {
  if (!fill()) return Progress::done;
  const SendResult result = send_packet(socket, packet_);
  if (result != SendResult::sent) return result == SendResult::blocked ? Progress::blocked : Progress::failed;
  packet_.clear();
  if (!next_ && !has_piece_) packet_.shrink_to_fit();
  return next_ || has_piece_ ? Progress::more : Progress::done;
}

}  // namespace host
