// SPDX-License-Identifier: Apache-2.0
// The Nth system call of either end fails, for every N: no hang, no crash, no request taken twice, no descriptor lost,
// a status that says what happened, and the next request works.
#include <dlfcn.h>
#include <sys/epoll.h>
#include <sys/socket.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <set>

#include "host/files/paths.h"
#include "host/status.h"
#include "tests/host/transport_fixture.h"

namespace transport_test {

using namespace host;

namespace {

// The test's own thread is the client, any other the server.
thread_local bool is_client = false;

struct Plan {
  std::mutex mutex;
  const char *call = nullptr;
  bool of_client = true;
  int nth = 0;
  int times = 1;  // from that one on
  int error = 0;
  int seen = 0;
};

Plan &plan() {
  static auto &current = *new Plan;
  return current;
}

void fail(const char *call, bool of_client, int nth, int error, int times = 1) {
  const std::lock_guard lock(plan().mutex);
  plan().call = call;
  plan().of_client = of_client;
  plan().nth = nth;
  plan().times = times;
  plan().error = error;
  plan().seen = 0;
}

bool stop_failing() {  // whether there was an Nth call
  const std::lock_guard lock(plan().mutex);
  plan().call = nullptr;
  return plan().seen >= plan().nth;
}

bool fails(const char *call) {
  const std::lock_guard lock(plan().mutex);
  if (plan().call == nullptr || std::strcmp(plan().call, call) != 0 || plan().of_client != is_client) return false;
  if (++plan().seen < plan().nth || plan().seen >= plan().nth + plan().times) return false;
  errno = plan().error;
  return true;
}

template <typename Call, typename... Arguments>
auto call_or_fail(const char *name, Call *, Arguments... arguments) {
  using Result = std::invoke_result_t<Call, Arguments...>;
  if (fails(name)) return static_cast<Result>(-1);
  return reinterpret_cast<Call *>(::dlsym(RTLD_NEXT, name))(arguments...);
}

}  // namespace

extern "C" {
int socket(int domain, int type, int protocol) noexcept {
  return call_or_fail("socket", &::socket, domain, type, protocol);
}
int connect(int fd, const sockaddr *name, socklen_t size) {
  return call_or_fail("connect", &::connect, fd, name, size);
}
ssize_t send(int fd, const void *data, size_t size, int flags) {
  return call_or_fail("send", &::send, fd, data, size, flags);
}
ssize_t sendmsg(int fd, const msghdr *message, int flags) {
  return call_or_fail("sendmsg", &::sendmsg, fd, message, flags);
}
ssize_t recvmsg(int fd, msghdr *message, int flags) {
  return call_or_fail("recvmsg", &::recvmsg, fd, message, flags);
}
ssize_t recv(int fd, void *buffer, size_t size, int flags) {
  return call_or_fail("recv", &::recv, fd, buffer, size, flags);
}
int accept4(int fd, sockaddr *name, socklen_t *size, int flags) {
  return call_or_fail("accept4", &::accept4, fd, name, size, flags);
}
int epoll_ctl(int epoll, int operation, int fd, epoll_event *event) noexcept {
  return call_or_fail("epoll_ctl", &::epoll_ctl, epoll, operation, fd, event);
}
int epoll_wait(int epoll, epoll_event *events, int count, int timeout) {
  return call_or_fail("epoll_wait", &::epoll_wait, epoll, events, count, timeout);
}
int getsockopt(int fd, int level, int option, void *value, socklen_t *size) noexcept {
  return call_or_fail("getsockopt", &::getsockopt, fd, level, option, value, size);
}
int setsockopt(int fd, int level, int option, const void *value, socklen_t size) noexcept {
  return call_or_fail("setsockopt", &::setsockopt, fd, level, option, value, size);
}
}

class FaultTest : public TransportTest {
 protected:
  FaultTest() { is_client = true; }
  // The next request has to connect.
  void forget_connection() const {
    use_paths({.state = directory(), .run = directory(), .socket = directory() + "/none", .system_wide = true});
    EXPECT_EQ(request("x").status, err_not_running);
    use_paths({.state = directory(), .run = directory(), .socket = socket_path(), .system_wide = true});
  }
};

struct Row {
  const char *call;
  int error;
  std::set<uint32_t> statuses;
};

// With 0 the fault must go unnoticed.
const Row client_rows[] = {
    {"socket", EMFILE, {err_io}},
    {"socket", ENOMEM, {err_no_memory}},
    {"connect", EINTR, {0}},
    {"connect", EAGAIN, {err_timed_out}},
    {"connect", ECONNREFUSED, {err_not_running}},
    {"connect", ENOENT, {err_not_running}},
    {"connect", EACCES, {err_not_permitted}},
    {"connect", EPROTOTYPE, {err_io}},
    {"getsockopt", ENOMEM, {err_not_permitted}},
    {"setsockopt", ENOMEM, {0, err_no_memory, err_io}},  // of the buffer, and of the time to wait for either way
    {"sendmsg", EINTR, {0}},
    {"sendmsg", EAGAIN, {0}},
    {"sendmsg", EPIPE, {0, err_not_running}},  // on a kept connection, and on a new one
    {"sendmsg", ECONNRESET, {0, err_not_running}},
    {"sendmsg", EMSGSIZE, {err_too_large}},
    {"sendmsg", ENOBUFS, {err_no_memory}},
    {"sendmsg", EIO, {err_io}},
    {"recv", EINTR, {0}},
    {"recv", EAGAIN, {0}},
    {"recv", ECONNRESET, {0}},  // reported ahead of a reply that is there
    {"recv", ENOMEM, {err_io}},
};

const Row server_rows[] = {
    {"accept4", EINTR, {0}},
    {"accept4", ECONNABORTED, {0}},
    {"accept4", EMFILE, {0}},  // after a pause
    {"accept4", ENFILE, {0}},
    {"accept4", ENOMEM, {0}},
    {"getsockopt", ENOMEM, {0, err_cut_off, err_not_running}},
    {"setsockopt", ENOMEM, {0}},
    {"epoll_ctl", ENOMEM, {0, err_cut_off, err_not_running}},
    {"epoll_wait", EINTR, {0}},
    {"recvmsg", EINTR, {0}},
    {"recvmsg", EAGAIN, {0}},
    {"recvmsg", ECONNRESET, {err_cut_off}},
    {"recvmsg", ENOMEM, {err_cut_off}},
    {"send", EINTR, {0}},
    {"send", EAGAIN, {0}},
    {"send", EPIPE, {err_cut_off}},
    {"send", EMSGSIZE, {err_cut_off}},
};

std::string describe(const Row &row, bool of_client, bool kept, int nth) {
  return std::string(of_client ? "client's " : "server's ") + row.call + " " + std::strerror(row.error) + " at " +
         std::to_string(nth) + (kept ? ", kept connection" : ", new connection");
}

TEST_F(FaultTest, a_request_copes_with_each_failing_call_of_either_end) {
  std::atomic<int> taken = 0;
  const auto server = serve([&](const Incoming &incoming) {
    taken++;
    return echo(incoming);
  });
  ASSERT_EQ(request("warm").text, "warm");
  const int before = open_descriptors();
  const auto try_row = [&](const Row &row, bool of_client, bool kept) {
    for (int nth = 1;; nth++) {
      if (!kept) forget_connection();
      ASSERT_TRUE(server->reaches_clients(kept ? 1 : 0));
      ASSERT_EQ(kept ? request("kept").text : "kept", "kept");
      taken = 0;
      fail(row.call, of_client, nth, row.error);
      const Reply reply = request("x");
      const bool reached = stop_failing();
      const std::string what = describe(row, of_client, kept, nth);
      ASSERT_TRUE(!reached || row.statuses.contains(reply.status)) << what << ": " << std::hex << reply.status;
      ASSERT_TRUE(reached || reply.status == 0) << what << ": " << std::hex << reply.status;
      ASSERT_EQ(reply.text, reply.status == 0 ? "x" : "") << what;
      ASSERT_LE(taken, 1) << what;
      ASSERT_EQ(request("y").text, "y") << what;
      if (!reached) return;
    }
  };
  for (const bool kept : {false, true}) {
    for (const Row &row : client_rows)
      try_row(row, true, kept);
    for (const Row &row : server_rows)
      try_row(row, false, kept);
  }
  EXPECT_TRUE(server->reaches_clients(1));
  EXPECT_EQ(open_descriptors(), before);
}

// Pieces received, or what failed.
std::string take_stream() {
  cmi_sent_request sent;
  if (const uint32_t status = cmi_send_request(5951, 2, "log", 3, "", "", 0, 136, 7, &sent))
    return "send " + std::to_string(status);
  const mts_selector selector = {{1, 0, 0, mts_rr_token_get(&sent)}};
  std::string pieces;
  mts_message message;
  while (pieces.size() < 8 && mts_recv(7, &message, &selector) == 0) {
    void *reply = nullptr;
    uint32_t length = 0;
    if (cmi_parse_response(&message, &reply, &length) != 0) return "parse";
    pieces += static_cast<char *>(reply)[0];
    std::free(reply);
  }
  return pieces;
}

TEST_F(FaultTest, a_stream_copes_with_each_failing_call_of_either_end) {
  const auto server = serve([](const Incoming &) {
    Answer answer;
    answer.next = [c = 'a']() mutable -> std::optional<Bytes> {
      return c <= 'h' ? std::optional(Bytes(20000, static_cast<std::byte>(c++))) : std::nullopt;
    };
    return answer;
  });
  const auto try_row = [&](const Row &row, bool of_client) {
    for (int nth = 1;; nth++) {
      fail(row.call, of_client, nth, row.error);
      const std::string pieces = take_stream();
      const bool reached = stop_failing();
      const std::string what = describe(row, of_client, false, nth);
      // What came is the stream's beginning; all of it when the fault is to go unnoticed.
      if (!reached || row.statuses == std::set<uint32_t>{0}) {
        ASSERT_EQ(pieces, "abcdefgh") << what;
      }
      ASSERT_TRUE(std::string("abcdefgh").starts_with(pieces) || pieces.starts_with("send")) << what << pieces;
      ASSERT_EQ(take_stream(), "abcdefgh") << what;
      if (!reached) return;
    }
  };
  for (const Row &row : client_rows)
    try_row(row, true);
  for (const Row &row : server_rows)
    try_row(row, false);
}

TEST_F(FaultTest, a_server_without_a_descriptor_for_its_client_rests_between_its_attempts) {
  const auto server = serve();
  constexpr int attempts = 3;
  for (const int error : {EMFILE, ENFILE}) {
    const auto begun = std::chrono::steady_clock::now();
    fail("accept4", false, 1, error, attempts);
    EXPECT_EQ(request("x").text, "x");
    EXPECT_TRUE(stop_failing());
    EXPECT_GE(std::chrono::steady_clock::now() - begun, attempts * std::chrono::milliseconds(100));
    forget_connection();
    ASSERT_TRUE(server->reaches_clients(0));
  }
}

TEST_F(FaultTest, a_server_that_cannot_listen_says_so_and_leaves_nothing) {
  const Loop loop;
  const int before = open_descriptors();
  for (const char *call : {"socket", "epoll_ctl"}) {
    fail(call, true, 1, EMFILE);
    const auto server = Server::listen({.socket_path = socket_path(), .only_uid = {}}, echo);
    EXPECT_TRUE(stop_failing());
    ASSERT_FALSE(server);
    EXPECT_NE(server.error().text.find(socket_path() + ": Too many open files; see the limit of open files"),
              std::string::npos)
        << server.error().text;
    EXPECT_EQ(open_descriptors(), before);
  }
}

}  // namespace transport_test
