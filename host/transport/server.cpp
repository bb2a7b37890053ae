// SPDX-License-Identifier: Apache-2.0
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <unordered_map>

#include "host/guard.h"
#include "host/loop/watch.h"
#include "host/status.h"
#include "host/transport/address.h"
#include "host/transport/listen.h"
#include "host/transport/session.h"

namespace host {

namespace {

constexpr int accepts_at_once = 64;        // in one turn of the loop, so that connected clients are not kept waiting
constexpr unsigned accept_pause_ms = 200;  // after a failed accept: until a client leaves there is no descriptor
constexpr rlim_t other_descriptors = 128;  // for stores, log, children and their pipes

void raise_open_files_limit() {
  rlimit limit = {};
  const rlim_t wanted = client_limit + other_descriptors;
  if (::getrlimit(RLIMIT_NOFILE, &limit) != 0 || limit.rlim_cur >= wanted) return;
  limit.rlim_cur = std::min(wanted, limit.rlim_max);
  // If this is refused, accept() runs out of descriptors earlier, which is handled.
  (void)::setrlimit(RLIMIT_NOFILE, &limit);
}

void tell_refusal(int socket, uint32_t status) {
  Outbox outbox;
  outbox.refuse(status);
  outbox.push(socket);
}

}  // namespace

class Server::State {
 public:
  State(const Options &options, Handler handler) : options_(options) {
    setting_.handler = std::move(handler);
    setting_.only_reads = options.only_reads;
    setting_.deadline_ms = options.deadline_ms;
  }
  ~State();
  Result<void> start();
  int clients() const { return static_cast<int>(sessions_.size()); }

 private:
  void await_clients();
  void accept_clients();
  void pause_accepting();
  void add_client(FileDescriptor socket);
  uint32_t refusal_for(const Peer &peer) const;

  Options options_;
  SessionSetting setting_;
  FileDescriptor listener_;
  Watch accept_, accept_again_;
  std::unordered_map<int, std::unique_ptr<Session>> sessions_;  // by their sockets
};

Result<void> Server::State::start() {
  raise_open_files_limit();
  Result<FileDescriptor> listener = listen_on(options_.socket_path, !options_.only_uid);
  if (!listener) return listener.error();
  listener_ = std::move(*listener);
  const auto watched = [this]() -> Result<void> {
    await_clients();
    return {};
  };
  return guarded(watched, [this]() -> Result<void> {
    return Error{err_io, "cannot watch the socket " + options_.socket_path + ": " + std::strerror(errno) +
                             "; see the limit of open files"};
  });
}

Server::State::~State() {
  if (listener_) ::unlink(options_.socket_path.c_str());
}

void Server::State::await_clients() {
  accept_ = Watch::readable(listener_.get(), [this] { accept_clients(); }).also_in_waits();
}

void Server::State::accept_clients() {
  for (int i = 0; i < accepts_at_once; i++) {
    FileDescriptor socket(::accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
    if (socket) {
      add_client(std::move(socket));
      continue;
    }
    if (errno == EINTR || errno == ECONNABORTED) continue;
    if (errno != EAGAIN) pause_accepting();
    return;
  }
}

// The listener stays readable while accept() fails for want of descriptors, so watching it would busy-loop.
void Server::State::pause_accepting() {
  accept_.stop();
  accept_again_ = Watch::after_ms(accept_pause_ms, [this] { await_clients(); });
}

void Server::State::add_client(FileDescriptor socket) {
  Peer peer;
  if (!peer_of(socket.get(), &peer)) return;
  size_socket_buffer(socket.get());
  if (const uint32_t status = refusal_for(peer)) {
    setting_.refusals.add(peer.credentials.pid, peer.text(), status);
    return tell_refusal(socket.get(), status);
  }
  const int key = socket.get();
  const auto ended = [this](Session &session) { sessions_.erase(session.socket()); };
  sessions_.emplace(key, std::make_unique<Session>(setting_, std::move(socket), peer, ended));
}

uint32_t Server::State::refusal_for(const Peer &peer) const {
  const uid_t uid = peer.credentials.uid;
  if (options_.only_uid && uid != *options_.only_uid && !peer.is_root()) return err_not_permitted;
  if (clients() >= client_limit) return err_busy;
  if (peer.is_root()) return 0;
  if (clients() >= client_limit - root_client_reserve) return err_busy;
  const bool too_many = peer.is_limited() && setting_.connections.of(uid) >= user_client_limit;
  return too_many ? err_too_many_connections : 0;
}

Server::Server(std::unique_ptr<State> state) : state_(std::move(state)) {}
Server::~Server() = default;

int Server::clients() const {
  return state_->clients();
}

Result<std::unique_ptr<Server>> Server::listen(const Options &options, Handler handler) {
  auto state = std::make_unique<State>(options, std::move(handler));
  if (Result<void> started = state->start(); !started) return started.error();
  return std::unique_ptr<Server>(new Server(std::move(state)));
}

}  // namespace host
