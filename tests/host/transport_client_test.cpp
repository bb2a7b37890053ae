// SPDX-License-Identifier: Apache-2.0
// The client's end against services that are absent, restarted, silent or wrong.
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/wait.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstring>

#include "host/files/paths.h"
#include "host/status.h"
#include "host/transport/address.h"
#include "host/transport/connection.h"
#include "tests/host/transport_fixture.h"

namespace transport_test {

using namespace host;

class ClientTest : public TransportTest {};

FrameHeader take_request(int socket) {
  Bytes packet(frame_limit);
  const ssize_t size = ::recv(socket, packet.data(), packet.size(), 0);
  Frame frame;
  EXPECT_TRUE(size > 0 && parse_frame({packet.data(), static_cast<std::size_t>(size)}, &frame));
  return frame.header;
}

void send_reply(int socket, FrameHeader header, std::string_view body = {}) {
  header.kind = FrameKind::reply;
  header.length = static_cast<uint32_t>(body.size());
  EXPECT_EQ(send_frame(socket, header, to_bytes(body)), SendResult::sent);
}

void await_departure(int socket) {
  char byte = 0;
  while (::recv(socket, &byte, 1, 0) > 0) {
  }
}

TEST_F(ClientTest, without_a_service_there_is_none) {
  EXPECT_EQ(request("x").status, err_not_running);
  use_paths({.state = "/", .run = "/", .socket = directory() + "/none/schedd.sock", .system_wide = true});
  EXPECT_EQ(request("x").status, err_not_running);
  use_paths({.state = "/", .run = "/", .socket = "/dev/null/schedd.sock", .system_wide = true});
  EXPECT_EQ(request("x").status, err_not_running);
  const std::string long_path = directory() + "/" + std::string(250, 'n') + "/schedd.sock";
  use_paths({.state = "/", .run = "/", .socket = long_path, .system_wide = true});
  EXPECT_EQ(request("x").status, err_not_running);
}

TEST_F(ClientTest, a_request_above_the_limit_is_not_sent_to_anybody) {
  EXPECT_EQ(request(std::string(65536 - 96, 'x')).status, err_not_running);
  EXPECT_EQ(request(std::string(65536 - 96 + 1, 'x')).status, err_too_large);
}

TEST_F(ClientTest, a_dead_socket_is_no_service) {
  const FileDescriptor dead(::socket(AF_UNIX, SOCK_SEQPACKET, 0));
  const auto address = socket_address(socket_path());
  ASSERT_EQ(::bind(dead.get(), address->get(), SocketAddress::size()), 0);
  EXPECT_EQ(request("x").status, err_not_running);
}

TEST_F(ClientTest, a_restart_between_two_requests_goes_unnoticed) {
  std::atomic<int> taken = 0;
  const auto counting = [&](const Incoming &incoming) {
    taken++;
    return echo(incoming);
  };
  for (int i = 0; i < 20; i++) {
    const auto server = serve(counting);
    ASSERT_EQ(request("x").text, "x");
    ASSERT_EQ(request("y").text, "y");
  }
  EXPECT_EQ(taken, 40);
  EXPECT_EQ(request("x").status, err_not_running);
}

TEST_F(ClientTest, a_request_that_may_have_been_taken_is_never_sent_again) {
  std::atomic<int> taken = 0;
  const PlayedService service(socket_path(), 2, [&](int socket) {
    take_request(socket);
    taken++;
  });
  EXPECT_EQ(request("x").status, err_cut_off);
  EXPECT_EQ(taken, 1);
  EXPECT_EQ(request("x").status, err_cut_off);  // a new request is
  EXPECT_EQ(taken, 2);
}

TEST_F(ClientTest, a_service_that_ends_within_a_stream_ends_it) {
  const PlayedService service(socket_path(), 1, [](int socket) {
    FrameHeader header = take_request(socket);
    header.flags = frame_flag_more;
    send_reply(socket, header, "first");
  });
  cmi_sent_request sent;
  ASSERT_EQ(cmi_send_request(5951, 2, "x", 1, "", "", 0, 136, 7, &sent), 0u);
  mts_selector selector = {{1, 0, 0, mts_rr_token_get(&sent)}};
  mts_message message;
  EXPECT_EQ(mts_recv(7, &message, &selector), 0);
  EXPECT_NE(mts_recv(7, &message, &selector), 0);
}

TEST_F(ClientTest, a_silent_service_times_out) {
  const PlayedService service(socket_path(), 2, await_departure);
  set_reply_timeout_ms(20);
  EXPECT_EQ(request("x").status, err_timed_out);
  cmi_sent_request sent;
  ASSERT_EQ(cmi_send_request(5951, 2, "x", 1, "", "", 0, 136, 7, &sent), 0u);
  const mts_selector selector = {{1, 0, 0, mts_rr_token_get(&sent)}};
  mts_message message;
  EXPECT_NE(mts_recv(7, &message, &selector), 0);
}

TEST_F(ClientTest, a_service_that_accepts_nobody_times_out) {
  const FileDescriptor listener(::socket(AF_UNIX, SOCK_SEQPACKET, 0));
  const auto address = socket_address(socket_path());
  ASSERT_EQ(::bind(listener.get(), address->get(), SocketAddress::size()), 0);
  ASSERT_EQ(::listen(listener.get(), 0), 0);
  const RawClient in_the_backlog(socket_path());
  set_reply_timeout_ms(20);
  EXPECT_EQ(request("x").status, err_timed_out);
}

// Each millisecond, and no call is begun again by the system.
class Interruptions {
 public:
  Interruptions() {
    struct sigaction action = {};
    action.sa_handler = [](int) {};
    ::sigaction(SIGALRM, &action, &before_);
    const itimerval often = {{0, 1000}, {0, 1000}};
    ::setitimer(ITIMER_REAL, &often, nullptr);
  }
  ~Interruptions() {
    const itimerval never = {};
    ::setitimer(ITIMER_REAL, &never, nullptr);
    ::sigaction(SIGALRM, &before_, nullptr);
  }
  Interruptions(const Interruptions &) = delete;
  Interruptions &operator=(const Interruptions &) = delete;

 private:
  struct sigaction before_ = {};
};

TEST_F(ClientTest, a_service_that_takes_no_requests_times_out_whatever_interrupts_the_wait) {
  const PlayedService service(socket_path(), 1, [](int socket) {
    pollfd watched = {socket, 0, 0};
    ::poll(&watched, 1, -1);  // until the client has gone
  });
  set_reply_timeout_ms(20);
  const Bytes body(frame_body_limit);
  FrameHeader header = request_header();
  header.length = frame_body_limit;
  const Interruptions interrupted;
  Connection connection;
  uint32_t status = 0;
  for (int i = 0; status == 0 && i < 1000; i++)
    status = connection.send(header, body, Deadline::of_reply()).code();
  EXPECT_EQ(status, err_timed_out);
}

TEST_F(ClientTest, an_earlier_failure_of_the_system_is_not_taken_for_that_of_the_answer) {
  for (const int earlier : {EAGAIN, EINTR, ECONNRESET, 0}) {
    ::unlink(socket_path().c_str());
    const PlayedService service(socket_path(), 1, [](int socket) { take_request(socket); });
    errno = earlier;
    EXPECT_EQ(request("x").status, err_cut_off) << earlier;
  }
}

TEST_F(ClientTest, a_service_that_answers_only_others_times_out) {
  set_reply_timeout_ms(50);
  const PlayedService service(socket_path(), 1, [](int socket) {
    FrameHeader header = take_request(socket);
    header.token++;
    header.kind = FrameKind::reply;
    header.length = 0;
    const auto frame = std::as_bytes(std::span(&header, 1));
    Bytes packet;  // of as many as it takes, so that they come faster than they are passed over
    while (packet.size() + frame.size() <= frame_limit)
      packet.insert(packet.end(), frame.begin(), frame.end());
    while (send_packet(socket, packet) != SendResult::failed) {
    }
  });
  EXPECT_EQ(request("x").status, err_timed_out);
}

// The kernel tells of the reset first, as the service has left the request unread.
TEST_F(ClientTest, a_refusal_is_read_also_when_the_service_has_hung_up_on_the_request) {
  const FrameHeader header = request_header();
  Connection connection;
  {
    const PlayedService service(socket_path(), 1, [](int socket) {
      char byte = 0;
      EXPECT_EQ(::recv(socket, &byte, 1, MSG_PEEK), 1);
      FrameHeader refusal = request_header();
      refusal.kind = FrameKind::refusal;
      refusal.status = err_busy;
      EXPECT_EQ(send_frame(socket, refusal, {}), SendResult::sent);
    });
    ASSERT_TRUE(connection.send(header, {}, Deadline::of_reply()));
  }
  EXPECT_EQ(connection.receive(header.service, header.token, Deadline::of_reply()).code(), err_busy);
}

TEST_F(ClientTest, stale_replies_are_passed_over) {
  const PlayedService service(socket_path(), 1, [](int socket) {
    const FrameHeader header = take_request(socket);
    FrameHeader stale = header;
    stale.token--;
    send_reply(socket, stale, "stale");
    stale.kind = FrameKind::stream_end;
    stale.length = 0;
    EXPECT_EQ(send_frame(socket, stale, {}), SendResult::sent);
    send_reply(socket, header, "mine");
    await_departure(socket);
  });
  EXPECT_EQ(request("x").text, "mine");
  use_paths({.state = "/", .run = "/", .socket = directory() + "/elsewhere", .system_wide = true});
  EXPECT_EQ(request("x").status, err_not_running);  // which ends the connection that the service waits on
}

struct WrongReply {
  const char *what;
  uint32_t status;
  void (*answer)(int socket, FrameHeader request);
};

const WrongReply wrong_replies[] = {
    {"no frame", err_bad_reply, [](int socket, FrameHeader) { ::send(socket, "nonsense", 8, MSG_NOSIGNAL); }},
    {"a request", err_bad_reply,
     [](int socket, FrameHeader header) {
       header.length = 0;
       send_frame(socket, header, {});
     }},
    {"another service's", err_bad_reply,
     [](int socket, FrameHeader header) {
       header.service++;
       send_reply(socket, header, "x");
     }},
    {"a lying length", err_bad_reply,
     [](int socket, FrameHeader header) {
       header.kind = FrameKind::reply;
       header.length = 1000000;
       send_frame(socket, header, to_bytes("x"));
     }},
    {"above the limit", err_too_large,
     [](int socket, FrameHeader) {
       const Bytes huge(frame_limit + 1);
       ::send(socket, huge.data(), huge.size(), MSG_NOSIGNAL);
     }},
    {"a refusal", err_busy,
     [](int socket, FrameHeader) {
       FrameHeader header;
       header.kind = FrameKind::refusal;
       header.status = err_busy;
       send_frame(socket, header, {});
     }},
    {"a refusal without a reason", err_bad_reply,
     [](int socket, FrameHeader) {
       FrameHeader header;
       header.kind = FrameKind::refusal;
       send_frame(socket, header, {});
     }},
    {"an empty packet", err_cut_off, [](int socket, FrameHeader) { ::send(socket, "", 0, MSG_NOSIGNAL); }},
};

TEST_F(ClientTest, a_wrong_reply_is_a_status_and_the_next_request_has_a_new_connection) {
  for (const WrongReply &row : wrong_replies) {
    ::unlink(socket_path().c_str());
    std::atomic<int> connections = 0;
    const PlayedService service(socket_path(), 2, [&](int socket) {
      const FrameHeader header = take_request(socket);
      if (connections++ == 0) return row.answer(socket, header);
      send_reply(socket, header, "right");
    });
    const Reply reply = request("x");
    EXPECT_EQ(reply.status, row.status) << row.what;
    EXPECT_TRUE(reply.null) << row.what;
    EXPECT_EQ(request("x").text, "right") << row.what;
    EXPECT_EQ(connections, 2) << row.what;
  }
}

TEST_F(ClientTest, a_control_reply_without_end_is_too_large) {
  const PlayedService service(socket_path(), 1, [](int socket) {
    FrameHeader header = take_request(socket);
    header.kind = FrameKind::reply;
    header.flags = frame_flag_more;
    const Bytes piece(frame_body_limit);
    header.length = frame_body_limit;
    while (send_frame(socket, header, piece) != SendResult::failed) {
    }
  });
  EXPECT_EQ(control_request(20, {}).code(), err_too_large);
}

TEST_F(ClientTest, a_forked_child_makes_its_own_connection) {
  const auto server = serve();
  ASSERT_EQ(request("parent").text, "parent");
  const pid_t child = ::fork();
  ASSERT_GE(child, 0);
  if (child == 0) ::_exit(request("child").text == "child" ? 0 : 1);
  int status = 0;
  ASSERT_EQ(::waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
  EXPECT_EQ(request("parent").text, "parent");
}

TEST_F(ClientTest, what_does_not_parse_as_a_response_leaves_no_reply) {
  char bytes[] = "nonsense";
  const mts_message message = {bytes, sizeof bytes};
  void *reply = bytes;
  uint32_t length = 5;
  EXPECT_EQ(cmi_parse_response(&message, &reply, &length), static_cast<int>(err_bad_reply));
  EXPECT_EQ(reply, nullptr);
  EXPECT_EQ(length, 0u);
}

}  // namespace transport_test
