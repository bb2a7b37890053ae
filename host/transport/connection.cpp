// SPDX-License-Identifier: Apache-2.0
#include "host/transport/connection.h"

#include <poll.h>
#include <pthread.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <ctime>

#include "host/errors.h"
#include "host/files/paths.h"
#include "host/status.h"
#include "host/transport/address.h"

namespace host {

namespace {

constexpr int default_reply_timeout_ms = 30000;

std::atomic<int> reply_timeout_ms = default_reply_timeout_ms;

// How many forks lie between this process and the one that first had a connection.
int forks = 0;

int forks_so_far() {
  static const int registered = ::pthread_atfork(nullptr, nullptr, [] { forks++; });
  return registered == 0 ? forks : ::getpid();
}

// The coarse clock is a few milliseconds behind: exact enough for a deadline, at a tenth of the cost.
int64_t monotonic_ms() {
  timespec now = {};
  ::clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
  return int64_t{now.tv_sec} * 1000 + now.tv_nsec / 1000000;
}

Result<void> wait_to_send(int socket, Deadline deadline) {
  for (;;) {
    pollfd watched = {socket, POLLOUT, 0};
    const int count = ::poll(&watched, 1, deadline.remaining_ms());
    if (count > 0) return {};
    if (count == 0) return error_of(err_timed_out);
    if (errno != EINTR) return error_of(err_io);
  }
}

uint32_t status_of_connect(int error) {
  switch (error) {
    case ENOENT:
    case ENOTDIR:
    case ECONNREFUSED:
      return err_not_running;
    case EACCES:
    case EPERM:
      return err_not_permitted;
    case EAGAIN:
      return err_timed_out;
    case ENOMEM:
    case ENOBUFS:
      return err_no_memory;
    default:
      return err_io;
  }
}

uint32_t status_of_send(int error) {
  switch (error) {
    case EPIPE:
    case ECONNRESET:
    case ENOTCONN:
      return err_not_running;
    case EMSGSIZE:
      return err_too_large;
    case ENOMEM:
    case ENOBUFS:
      return err_no_memory;
    default:
      return err_io;
  }
}

bool limit_wait(int socket, int option, int milliseconds) {
  const int at_least = std::max(milliseconds, 1);  // 0 would be no limit
  const timeval limit = {at_least / 1000, at_least % 1000 * 1000};
  return ::setsockopt(socket, SOL_SOCKET, option, &limit, sizeof limit) == 0;
}

// While the listener's queue is full, connect waits for as long as the socket's send timeout says.
int connect_within(int socket, const SocketAddress &address, Deadline deadline) {
  for (;;) {
    if (!limit_wait(socket, SO_SNDTIMEO, deadline.remaining_ms())) return errno;
    if (::connect(socket, address.get(), SocketAddress::size()) == 0) return 0;
    if (errno != EINTR || deadline.has_passed()) return errno == EINTR ? EAGAIN : errno;
  }
}

// Another user could have put a socket in the service's place, to receive passwords.
bool served_by_somebody_trusted(int socket) {
  ucred server = {};
  socklen_t size = sizeof server;
  if (::getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &server, &size) != 0) return false;
  return ::geteuid() == 0 || server.uid == 0 || server.uid == ::geteuid();
}

}  // namespace

void set_reply_timeout_ms(int milliseconds) {
  reply_timeout_ms = std::max(milliseconds, 0);
}

Deadline Deadline::of_reply() {
  Deadline deadline;
  deadline.end_ms_ = monotonic_ms() + reply_timeout_ms;
  return deadline;
}

bool Deadline::has_passed() const {
  return monotonic_ms() >= end_ms_;
}

int Deadline::remaining_ms() const {
  return static_cast<int>(std::max<int64_t>(end_ms_ - monotonic_ms(), 0));
}

uint32_t next_token() {
  static std::atomic<uint32_t> last = 0;
  const uint32_t token = ++last;
  return token != 0 ? token : ++last;
}

bool Connection::usable() const {
  return socket_ && path_ == paths().socket && forks_ == forks_so_far();
}

Result<void> Connection::open(Deadline deadline) {
  close();
  path_ = paths().socket;
  forks_ = forks_so_far();
  receive_limit_ms_ = -1;
  buffer_.resize(frame_limit + 1);
  frame_ = rest_ = {};
  const std::optional<SocketAddress> address = socket_address(path_);
  if (!address) return error_of(status_of_connect(errno));
  FileDescriptor socket(::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0));
  if (!socket) return error_of(status_of_connect(errno));
  size_socket_buffer(socket.get());
  if (const int error = connect_within(socket.get(), *address, deadline)) return error_of(status_of_connect(error));
  if (!served_by_somebody_trusted(socket.get())) return error_of(err_not_permitted);
  socket_ = std::move(socket);
  return {};
}

Result<void> Connection::send(const FrameHeader &header, std::span<const std::byte> body, Deadline deadline) {
  if (body.size() > frame_body_limit) return error_of(err_too_large);
  if (usable()) {
    Result<void> sent = transmit(header, body, deadline);
    if (sent) return sent;
    if (sent.code() != err_not_running) return give_up(sent.error());
  }
  if (Result<void> opened = open(deadline); !opened) return opened;
  Result<void> sent = transmit(header, body, deadline);
  if (sent) return sent;
  return give_up(sent.code() == err_not_running ? refusal().value_or(sent.error()) : sent.error());
}

Result<void> Connection::transmit(const FrameHeader &header, std::span<const std::byte> body, Deadline deadline) {
  for (;;) {
    const SendResult result = send_frame(socket_.get(), header, body);
    if (result == SendResult::sent) return {};
    if (result == SendResult::failed) return error_of(status_of_send(errno));
    if (Result<void> room = wait_to_send(socket_.get(), deadline); !room) return room;
  }
}

Result<Frame> Connection::receive(uint32_t service, uint32_t token, Deadline deadline) {
  for (;;) {
    Result<Frame> frame = receive_frame(deadline);
    if (!frame) return give_up(frame.error());
    const FrameHeader &header = frame->header;
    if (header.kind == FrameKind::refusal) return give_up(error_of(header.status != 0 ? header.status : err_bad_reply));
    if (header.kind == FrameKind::request) return give_up(error_of(err_bad_reply));
    if (header.token == token) return header.service == service ? frame : give_up(error_of(err_bad_reply));
    // Checked here too: answers to other requests may come faster than any receive times out.
    if (deadline.has_passed()) return give_up(error_of(err_timed_out));
  }
}

// The timeout is mostly the same as for the previous request: then no system call is needed.
bool Connection::limit_receive(Deadline deadline) {
  const int remaining = deadline.remaining_ms();
  if (remaining == receive_limit_ms_) return true;
  receive_limit_ms_ = remaining;
  return limit_wait(socket_.get(), SO_RCVTIMEO, remaining);
}

Result<void> Connection::receive_packet(Deadline deadline) {
  for (bool reset = false;;) {
    if (!limit_receive(deadline)) return error_of(err_io);
    const ssize_t size = ::recv(socket_.get(), buffer_.data(), buffer_.size(), 0);
    if (size < 0 && (errno == EINTR || errno == EAGAIN)) {
      if (deadline.has_passed()) return error_of(err_timed_out);
      continue;
    }
    // The kernel reports a reset before the data that was received ahead of it, which may be a refusal: so read again.
    if (size < 0 && errno == ECONNRESET && !std::exchange(reset, true)) continue;
    if (size < 0 && errno != ECONNRESET) return error_of(err_io);
    if (size <= 0) return error_of(err_cut_off);
    if (static_cast<std::size_t>(size) > frame_limit) return error_of(err_too_large);
    rest_ = {buffer_.data(), static_cast<std::size_t>(size)};
    return {};
  }
}

Result<Frame> Connection::receive_frame(Deadline deadline) {
  if (rest_.empty())
    if (const Result<void> received = receive_packet(deadline); !received) return received.error();
  const std::span<const std::byte> from = rest_;
  Frame frame;
  if (!parse_first_frame(from, &frame, &rest_)) return error_of(err_bad_reply);
  frame_ = from.first(from.size() - rest_.size());
  return frame;
}

// Why the service has hung up on a new connection, when it said so.
std::optional<Error> Connection::refusal() {
  const Result<Frame> frame = receive_frame(Deadline());
  if (!frame || frame->header.kind != FrameKind::refusal || frame->header.status == 0) return std::nullopt;
  return error_of(frame->header.status);
}

Error Connection::give_up(Error error) {
  close();
  return error;
}

}  // namespace host
