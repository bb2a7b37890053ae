// SPDX-License-Identifier: Apache-2.0
// The clients hang on one epoll descriptor, which is one source of the main loop: the loop's cost does not grow with
// the number of clients.
#include <sys/epoll.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <glib-unix.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <map>
#include <new>

#include "host/status.h"
#include "host/transport/address.h"
#include "host/transport/listen.h"
#include "host/transport/refusal_report.h"
#include "host/transport/served_client.h"

namespace host {

namespace {

constexpr int events_at_once = 64;    // then the main loop's other sources have their turn
constexpr int accepts_at_once = 64;   // as well
constexpr int frames_at_once = 16;    // of one stream, before the next client
constexpr int guesses_in_a_row = 16;  // then every client has its turn
constexpr int accept_pause_ms = 200;  // after a failed accept: no descriptor may come free sooner than somebody leaves
constexpr rlim_t other_descriptors = 128;  // stores, log, children and their pipes

constexpr uint64_t listener_id = 0;
// A client has two ids in the epoll set: its socket's, and the next one for the descriptor of its later answer.
constexpr uint64_t ids_of_a_client = 2;

void raise_open_files_limit() {
  rlimit limit = {};
  const rlim_t wanted = client_limit + other_descriptors;
  if (::getrlimit(RLIMIT_NOFILE, &limit) != 0 || limit.rlim_cur >= wanted) return;
  limit.rlim_cur = std::min(wanted, limit.rlim_max);
  // A refusal is felt at accept, which copes with it.
  (void)::setrlimit(RLIMIT_NOFILE, &limit);
}

// A caller that is answered with what went wrong instead of an end of the service.
Answer ask(const Handler &handler, const Incoming &incoming) {
  try {
    return handler(incoming);
  } catch (const std::bad_alloc &) {
    return {.status = err_no_memory, .reply = {}, .next = {}, .later = {}};
  }
}

// A stream whose next piece cannot be made is at its end, and the client is told by the hang-up.
Outbox::Progress push_frame(ServedClient *client) {
  try {
    return client->outbox.push(client->socket.get());
  } catch (const std::bad_alloc &) {
    return Outbox::Progress::failed;
  }
}

}  // namespace

class Server::State {
 public:
  State(const Options &options, Handler handler) : options_(options), handler_(std::move(handler)) {}
  ~State();
  bool start(std::string *error);
  bool serve_again();
  int clients() const { return static_cast<int>(clients_.size()); }

 private:
  using Clients = std::map<uint64_t, std::unique_ptr<ServedClient>>;

  static gboolean on_ready(int, GIOCondition, void *state);
  void serve();
  bool serve_lone_client();
  void serve_client(ServedClient *client, bool of_later, uint32_t events);
  void accept_clients();
  void pause_accepting();
  void add_client(FileDescriptor socket);
  uint32_t refusal_for(const Peer &peer) const;
  int connections_of(uid_t uid) const;
  bool read_request(ServedClient *client);
  void take_packet(ServedClient *client, std::size_t size);
  void take_request(ServedClient *client, const Frame &frame);
  void respond(ServedClient *client, const FrameHeader &request, Answer &&answer);
  void wait_for(ServedClient *client, const FrameHeader &request, std::shared_ptr<Later> later);
  void finish_later(ServedClient *client);
  void refuse(ServedClient *client, uint32_t status);
  void push(ServedClient *client);
  bool watch(int operation, int descriptor, uint64_t id, uint32_t events) const;
  void watch_socket(ServedClient *client, uint32_t events);
  void drop(ServedClient *client);

  Options options_;
  Handler handler_;
  FileDescriptor epoll_, listener_;
  GSource *source_ = nullptr;
  Timeout accept_again_;
  RefusalReport report_;
  Clients clients_;
  uint64_t next_id_ = ids_of_a_client;
  uint64_t lone_client_ = listener_id;  // who alone had a request the last time; listener_id: nobody
  int guesses_ = 0;
  // One packet of whatever length a client sends; one more byte than the limit tells a longer one.
  std::array<std::byte, frame_limit + 1> packet_;
};

bool Server::State::start(std::string *error) {
  raise_open_files_limit();
  listener_ = listen_on(options_.socket_path, !options_.only_uid, error);
  if (!listener_) return false;
  epoll_ = FileDescriptor(::epoll_create1(EPOLL_CLOEXEC));
  if (!epoll_ || !watch(EPOLL_CTL_ADD, listener_.get(), listener_id, EPOLLIN)) {
    *error = std::string("cannot watch the socket ") + options_.socket_path + ": " + std::strerror(errno) +
             "; see the limit of open files";
    return false;
  }
  source_ = g_unix_fd_source_new(epoll_.get(), G_IO_IN);
  const auto callback = &State::on_ready;
  g_source_set_callback(source_, reinterpret_cast<GSourceFunc>(reinterpret_cast<void (*)()>(callback)), this, nullptr);
  // No handler runs the main loop. Without this the loop takes the descriptor out and in again around each dispatch and
  // wakes itself up for it, which costs as much as the request.
  g_source_set_can_recurse(source_, TRUE);
  g_source_attach(source_, g_main_context_get_thread_default());
  return true;
}

Server::State::~State() {
  if (source_ != nullptr) {
    g_source_destroy(source_);
    g_source_unref(source_);
  }
  if (listener_) ::unlink(options_.socket_path.c_str());
}

gboolean Server::State::on_ready(int, GIOCondition, void *state) {
  try {
    static_cast<State *>(state)->serve();
  } catch (const std::bad_alloc &) {
    // No exception may cross the main loop; what was not served is still there to be read in the next round.
  }
  return G_SOURCE_CONTINUE;
}

bool Server::State::serve_again() {
  try {
    return serve_lone_client();
  } catch (const std::bad_alloc &) {
    return false;
  }
}

// Who alone asked last will mostly ask next: trying its socket is cheaper than asking first which sockets are ready.
bool Server::State::serve_lone_client() {
  const auto found = clients_.find(lone_client_);
  if (found == clients_.end() || found->second->answering || guesses_ >= guesses_in_a_row) return false;
  guesses_++;
  if (read_request(found->second.get())) return true;
  lone_client_ = listener_id;
  return false;
}

void Server::State::serve() {
  if (serve_lone_client()) return;
  guesses_ = 0;
  std::array<epoll_event, events_at_once> events;
  const int count = ::epoll_wait(epoll_.get(), events.data(), events_at_once, 0);
  lone_client_ = count == 1 ? events[0].data.u64 : listener_id;
  for (int i = 0; i < count; i++) {
    const epoll_event &event = events[static_cast<std::size_t>(i)];
    if (event.data.u64 == listener_id) {
      accept_clients();
      continue;
    }
    const bool of_later = event.data.u64 % ids_of_a_client != 0;
    // A client that an earlier event of this round has dropped is no longer there.
    const auto found = clients_.find(event.data.u64 - (of_later ? 1 : 0));
    if (found != clients_.end()) serve_client(found->second.get(), of_later, event.events);
  }
}

void Server::State::serve_client(ServedClient *client, bool of_later, uint32_t events) {
  if (of_later) return finish_later(client);
  if (client->answering && !client->later && (events & EPOLLOUT) != 0) return push(client);
  if (!client->answering && (events & EPOLLIN) != 0) {
    read_request(client);
    return;
  }
  if ((events & (EPOLLHUP | EPOLLERR)) != 0) drop(client);
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

// The listener stays readable while accept fails for want of descriptors: watching on would spin.
void Server::State::pause_accepting() {
  watch(EPOLL_CTL_MOD, listener_.get(), listener_id, 0);
  accept_again_.start(accept_pause_ms, [this] { watch(EPOLL_CTL_MOD, listener_.get(), listener_id, EPOLLIN); });
}

void Server::State::add_client(FileDescriptor socket) {
  auto client = std::make_unique<ServedClient>();
  if (!peer_of(socket.get(), &client->peer)) return;
  size_socket_buffer(socket.get());
  if (const uint32_t status = refusal_for(client->peer)) {
    report_.add(client->peer, status);
    client->outbox.refuse(status);
    client->outbox.push(socket.get());
    return;
  }
  client->id = next_id_;
  next_id_ += ids_of_a_client;
  client->watched = EPOLLIN;
  if (!watch(EPOLL_CTL_ADD, socket.get(), client->id, client->watched)) return;
  client->socket = std::move(socket);
  clients_.emplace(client->id, std::move(client));
}

uint32_t Server::State::refusal_for(const Peer &peer) const {
  const uid_t uid = peer.credentials.uid;
  if (options_.only_uid && uid != *options_.only_uid && !peer.is_root()) return err_not_permitted;
  if (clients() >= client_limit) return err_busy;
  if (peer.is_root()) return 0;
  if (clients() >= client_limit - root_client_reserve) return err_busy;
  return uid != ::geteuid() && connections_of(uid) >= user_client_limit ? err_busy : 0;
}

int Server::State::connections_of(uid_t uid) const {
  int count = 0;
  for (const auto &[id, client] : clients_)
    count += client->peer.credentials.uid == uid ? 1 : 0;
  return count;
}

// False when there is nothing to read.
bool Server::State::read_request(ServedClient *client) {
  iovec part = {packet_.data(), packet_.size()};
  msghdr message = {};  // without room for control data the kernel takes in no descriptor
  message.msg_iov = &part;
  message.msg_iovlen = 1;
  const ssize_t size = ::recvmsg(client->socket.get(), &message, MSG_DONTWAIT);
  if (size < 0 && (errno == EAGAIN || errno == EINTR)) return false;
  if (size <= 0)
    drop(client);  // gone; an empty packet looks the same
  else if ((message.msg_flags & MSG_CTRUNC) != 0)
    refuse(client, err_bad_request);
  else
    take_packet(client, static_cast<std::size_t>(size));
  return true;
}

void Server::State::take_packet(ServedClient *client, std::size_t size) {
  if (size > frame_limit) return refuse(client, err_too_large);
  Frame frame;
  if (!parse_frame({packet_.data(), size}, &frame) || frame.header.kind != FrameKind::request)
    return refuse(client, err_bad_request);
  take_request(client, frame);
  // A password may have been in it.
  if (frame.header.service == service_control) explicit_bzero(packet_.data(), size);
}

void Server::State::take_request(ServedClient *client, const Frame &frame) {
  Incoming incoming = {frame.header.service, frame.header.message_class, frame.body, {}};
  if (const uint32_t status = identify_caller(&client->peer, frame.header, &incoming.caller)) {
    report_.add(client->peer, status);
    return respond(client, frame.header, {.status = status, .reply = {}, .next = {}, .later = {}});
  }
  respond(client, frame.header, ask(handler_, incoming));
}

void Server::State::respond(ServedClient *client, const FrameHeader &request, Answer &&answer) {
  client->answering = true;
  if (answer.later) return wait_for(client, request, std::move(answer.later));
  client->outbox.answer(request, std::move(answer));
  push(client);
}

void Server::State::wait_for(ServedClient *client, const FrameHeader &request, std::shared_ptr<Later> later) {
  client->asked = request;
  client->later = std::move(later);
  if (!watch(EPOLL_CTL_ADD, client->later->descriptor, client->id + 1, EPOLLIN)) return finish_later(client);
  client->deadline.start(client->later->deadline_ms, [this, client] { finish_later(client); });
  watch_socket(client, 0);
}

void Server::State::finish_later(ServedClient *client) {
  const std::shared_ptr<Later> later = std::move(client->later);
  if (!later) return;
  client->deadline.cancel();
  watch(EPOLL_CTL_DEL, later->descriptor, client->id + 1, 0);
  Answer answer = later->answer();
  answer.later.reset();
  respond(client, client->asked, std::move(answer));
}

void Server::State::refuse(ServedClient *client, uint32_t status) {
  report_.add(client->peer, status);
  client->answering = true;
  client->hang_up = true;
  client->outbox.refuse(status);
  push(client);
}

void Server::State::push(ServedClient *client) {
  auto progress = Outbox::Progress::more;
  bool sent_some = false;
  for (int i = 0; i < frames_at_once && progress == Outbox::Progress::more; i++) {
    progress = push_frame(client);
    sent_some = sent_some || progress != Outbox::Progress::blocked;
  }
  if (progress == Outbox::Progress::failed) return drop(client);
  if (progress == Outbox::Progress::done) {
    if (client->hang_up) return drop(client);
    client->deadline.cancel();
    client->answering = false;
    return watch_socket(client, EPOLLIN);
  }
  if (sent_some || !client->deadline.running())
    client->deadline.start(options_.deadline_ms, [this, client] { drop(client); });
  watch_socket(client, EPOLLOUT);
}

bool Server::State::watch(int operation, int descriptor, uint64_t id, uint32_t events) const {
  epoll_event event = {};
  event.events = events;
  event.data.u64 = id;
  return ::epoll_ctl(epoll_.get(), operation, descriptor, &event) == 0;
}

// Drops a client that cannot be watched: it would wait for ever.
void Server::State::watch_socket(ServedClient *client, uint32_t events) {
  if (client->watched == events) return;
  client->watched = events;
  if (!watch(EPOLL_CTL_MOD, client->socket.get(), client->id, events)) drop(client);
}

void Server::State::drop(ServedClient *client) {
  clients_.erase(client->id);
}

Server::Server(std::unique_ptr<State> state) : state_(std::move(state)) {}
Server::~Server() = default;

bool Server::serve_again() {
  return state_->serve_again();
}

int Server::clients() const {
  return state_->clients();
}

std::unique_ptr<Server> Server::listen(const Options &options, Handler handler, std::string *error) {
  auto state = std::make_unique<State>(options, std::move(handler));
  if (!state->start(error)) return nullptr;
  return std::unique_ptr<Server>(new Server(std::move(state)));
}

}  // namespace host
