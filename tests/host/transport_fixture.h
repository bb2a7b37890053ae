// SPDX-License-Identifier: Apache-2.0
// Real sockets in a directory of the test's own: the server in a thread with its own loop, a service that the
// test plays itself, and a client that sends what it likes.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <future>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "host/files/file_descriptor.h"
#include "host/loop/loop.h"
#include "host/transport/frame.h"
#include "host/transport/transport.h"
#include "platform/cmi.h"

namespace transport_test {

inline constexpr int patience_ms = 20000;  // for what must happen; a test that waits so long has failed

host::Bytes to_bytes(std::string_view text);
std::string to_text(std::span<const std::byte> bytes);
std::string pattern(std::size_t size);  // no two pieces of it alike
int open_descriptors();
void raise_open_files(unsigned wanted);

host::Answer echo(const host::Incoming &request);

class RunningServer {
 public:
  RunningServer(host::Server::Options options, host::Handler handler);
  ~RunningServer();
  RunningServer(const RunningServer &) = delete;
  RunningServer &operator=(const RunningServer &) = delete;
  int clients();                     // as the server counts them
  bool reaches_clients(int wanted);  // within the patience

 private:
  void run(const host::Server::Options &options, host::Handler handler, std::promise<std::string> *started);
  void ask(std::function<void()> question);  // in the server's thread, between two events

  host::FileDescriptor asked_;
  std::packaged_task<void()> question_;
  host::Loop *loop_ = nullptr;
  host::Server *server_ = nullptr;
  std::thread thread_;
};

// A client of no rules.
class RawClient {
 public:
  explicit RawClient(const std::string &path);
  int get() const { return socket_.get(); }
  bool send(std::span<const std::byte> packet) const;
  bool send(const host::FrameHeader &header, std::string_view body = {}) const;
  struct Received {
    host::FrameHeader header;
    std::string body;
  };
  std::optional<Received> receive() const;  // empty when the server has hung up
  bool hung_up() const;                     // and sent nothing before

 private:
  host::FileDescriptor socket_;
  mutable host::Bytes rest_;  // frames of the packet received last
};

host::FrameHeader request_header(std::size_t body_size = 0, uint32_t service = 5950, uint32_t token = 1);

// A service that does what the test says with each connection, in its own thread; `serve` gets the connected socket.
class PlayedService {
 public:
  PlayedService(const std::string &path, int connections, std::function<void(int socket)> serve);
  ~PlayedService();

 private:
  host::FileDescriptor listener_;
  std::thread thread_;
};

struct Reply {
  uint32_t status = 0;
  std::string text;
  bool null = true;
  uint32_t length = 0;
};

Reply request(const std::string &body, uint32_t service = 5950, const char *user = "", const char *peer = "");

class TransportTest : public testing::Test {
 protected:
  TransportTest();
  ~TransportTest() override;
  std::unique_ptr<RunningServer> serve(host::Handler handler = echo, int deadline_ms = 10000) const;
  std::vector<std::unique_ptr<RawClient>> as_many_as_may_connect() const;
  const std::string &directory() const { return directory_; }
  std::string socket_path() const { return directory_ + "/schedd.sock"; }

 private:
  std::string directory_;
};

}  // namespace transport_test
