// SPDX-License-Identifier: Apache-2.0
#include "tests/host/transport_fixture.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <stdexcept>

#include "host/files/paths.h"
#include "host/loop/watch.h"
#include "host/transport/address.h"

namespace transport_test {

using namespace host;

namespace {

FileDescriptor new_socket() {
  return FileDescriptor(::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0));
}

bool is_ready(int socket) {
  pollfd watched = {socket, POLLIN, 0};
  return ::poll(&watched, 1, patience_ms) == 1;
}

}  // namespace

Bytes to_bytes(std::string_view text) {
  const auto bytes = std::as_bytes(std::span(text));
  return {bytes.begin(), bytes.end()};
}

std::string to_text(std::span<const std::byte> bytes) {
  return {reinterpret_cast<const char *>(bytes.data()), bytes.size()};
}

std::string pattern(std::size_t size) {
  std::string text;
  for (unsigned i = 0; text.size() < size; i++)
    text += std::to_string(i) + ",";
  return text.substr(0, size);
}

int open_descriptors() {
  int count = 0;
  for ([[maybe_unused]] const auto &entry : std::filesystem::directory_iterator("/proc/self/fd"))
    count++;
  return count;
}

void raise_open_files(unsigned wanted) {
  rlimit limit = {};
  ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &limit), 0);
  if (limit.rlim_cur >= wanted) return;
  limit = {wanted, std::max<rlim_t>(wanted, limit.rlim_max)};  // root may raise the hard limit too
  ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &limit), 0) << "the hard limit of open files is too low for the test: raise it";
}

Answer echo(const Incoming &request) {
  Answer answer;
  answer.reply = Bytes(request.body.begin(), request.body.end());
  return answer;
}

RunningServer::RunningServer(Server::Options options, Handler handler) : asked_(::eventfd(0, EFD_CLOEXEC)) {
  std::promise<std::string> started;
  thread_ = std::thread([&] { run(options, std::move(handler), &started); });
  const std::string error = started.get_future().get();
  if (!error.empty()) {
    thread_.join();
    throw std::runtime_error(error);
  }
}

void RunningServer::run(const Server::Options &options, Handler handler, std::promise<std::string> *started) {
  Loop loop;
  const Result<std::unique_ptr<Server>> server = Server::listen(options, std::move(handler));
  const Watch questions = Watch::readable(asked_.get(), [this] {
    eventfd_t times = 0;
    ASSERT_EQ(::read(asked_.get(), &times, sizeof times), static_cast<ssize_t>(sizeof times));
    std::packaged_task<void()> question = std::move(question_);
    question();
  });
  loop_ = &loop;
  server_ = server ? server->get() : nullptr;
  started->set_value(server ? "" : server.error().text);
  if (server) loop.run();
}

void RunningServer::ask(std::function<void()> question) {
  question_ = std::packaged_task<void()>(std::move(question));
  const std::future<void> answered = question_.get_future();
  const eventfd_t once = 1;
  ASSERT_EQ(::write(asked_.get(), &once, sizeof once), static_cast<ssize_t>(sizeof once));
  answered.wait();
}

RunningServer::~RunningServer() {
  ask([this] { loop_->quit(); });
  thread_.join();
}

int RunningServer::clients() {
  int count = 0;
  ask([&] { count = server_->clients(); });
  return count;
}

bool RunningServer::reaches_clients(int wanted) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(patience_ms);
  while (clients() != wanted)
    if (std::chrono::steady_clock::now() > end) return false;
  return true;
}

RawClient::RawClient(const std::string &path) : socket_(new_socket()) {
  const auto address = socket_address(path);
  size_socket_buffer(socket_.get());
  if (!address || ::connect(socket_.get(), address->get(), SocketAddress::size()) != 0)
    throw std::runtime_error("cannot connect: " + std::string(std::strerror(errno)));
}

bool RawClient::send(std::span<const std::byte> packet) const {
  return ::send(socket_.get(), packet.data(), packet.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(packet.size());
}

bool RawClient::send(const FrameHeader &header, std::string_view body) const {
  return send_frame(socket_.get(), header, to_bytes(body)) == SendResult::sent;
}

std::optional<RawClient::Received> RawClient::receive() const {
  const auto take = [this] {
    const Bytes packet = std::move(rest_);
    Frame frame;
    std::span<const std::byte> rest;
    if (!parse_first_frame(packet, &frame, &rest)) throw std::runtime_error("no frame");
    rest_.assign(rest.begin(), rest.end());
    return Received{frame.header, to_text(frame.body)};
  };
  if (!rest_.empty()) return take();
  Bytes packet(frame_limit);
  for (bool reset = false; is_ready(socket_.get());) {
    const ssize_t size = ::recv(socket_.get(), packet.data(), packet.size(), 0);
    if (size < 0 && errno == ECONNRESET && !std::exchange(reset, true)) continue;
    if (size <= 0) return std::nullopt;
    packet.resize(static_cast<std::size_t>(size));
    rest_ = std::move(packet);
    return take();
  }
  throw std::runtime_error("the server neither answered nor hung up");
}

bool RawClient::hung_up() const {
  return !receive();
}

FrameHeader request_header(std::size_t body_size, uint32_t service, uint32_t token) {
  FrameHeader header;
  header.service = service;
  header.message_class = 3;
  header.token = token;
  header.length = static_cast<uint32_t>(body_size);
  return header;
}

PlayedService::PlayedService(const std::string &path, int connections, std::function<void(int socket)> serve)
    : listener_(new_socket()) {
  const auto address = socket_address(path);
  if (!address || ::bind(listener_.get(), address->get(), SocketAddress::size()) != 0 ||
      ::listen(listener_.get(), 8) != 0)
    throw std::runtime_error("cannot listen");
  thread_ = std::thread([this, connections, serve = std::move(serve)] {
    for (int i = 0; i < connections && is_ready(listener_.get()); i++) {
      const FileDescriptor socket(::accept(listener_.get(), nullptr, nullptr));
      serve(socket.get());
    }
  });
}

PlayedService::~PlayedService() {
  thread_.join();
}

Reply request(const std::string &body, uint32_t service, const char *user, const char *peer) {
  std::string copy = body;
  void *reply = &copy;  // not null, to see it cleared
  auto length = static_cast<uint32_t>(copy.size());
  Reply result;
  result.status = cmi_req_resp(service, 3, copy.data(), &reply, &length, user, peer, 136, 7, 0);
  result.null = reply == nullptr;
  result.length = length;
  if (reply != nullptr) result.text.assign(static_cast<char *>(reply), length);
  std::free(reply);
  return result;
}

TransportTest::TransportTest() {
  std::string name = testing::TempDir() + "schedcli-transport-XXXXXX";
  directory_ = ::mkdtemp(name.data());
  ::chmod(directory_.c_str(), 0755);
  use_paths({.state = directory_, .run = directory_, .socket = socket_path(), .system_wide = true});
  set_reply_timeout_ms(patience_ms);
}

TransportTest::~TransportTest() {
  std::filesystem::remove_all(directory_);
}

std::unique_ptr<RunningServer> TransportTest::serve(Handler handler, int deadline_ms) const {
  Server::Options options;
  options.socket_path = socket_path();
  options.deadline_ms = deadline_ms;
  return std::make_unique<RunningServer>(options, std::move(handler));
}

std::vector<std::unique_ptr<RawClient>> TransportTest::as_many_as_may_connect() const {
  raise_open_files(4096);
  const int most = ::geteuid() == 0 ? host::client_limit : host::client_limit - host::root_client_reserve;
  std::vector<std::unique_ptr<RawClient>> clients;
  for (int i = 0; i < most; i++)
    clients.push_back(std::make_unique<RawClient>(socket_path()));
  return clients;
}

}  // namespace transport_test
