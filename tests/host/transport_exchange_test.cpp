// SPDX-License-Identifier: Apache-2.0
// Requests, replies and streams between the host's own two ends.
#include <fcntl.h>
#include <sys/eventfd.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <bit>
#include <cstdlib>
#include <cstring>

#include "host/files/paths.h"
#include "host/loop/loop.h"
#include "host/loop/watch.h"
#include "host/status.h"
#include "tests/host/transport_fixture.h"

namespace transport_test {

using namespace host;

class ExchangeTest : public TransportTest {};

struct OpenFiles {
  rlim_t current, most, of_server;
};

// All clients, and what else a service has open.
TEST_F(ExchangeTest, a_server_may_have_as_many_open_files_as_it_needs_where_it_is_allowed_to) {
  const OpenFiles rows[] = {
      {200, 4096, 1328}, {1327, 4096, 1328}, {1328, 4096, 1328}, {2000, 4096, 2000}, {200, 500, 500}};
  for (const OpenFiles &row : rows) {
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
      rlimit limit = {row.current, row.most};
      if (::setrlimit(RLIMIT_NOFILE, &limit) != 0) ::_exit(1);
      const Loop loop;
      const auto server = Server::listen({.socket_path = socket_path(), .only_uid = {}}, echo);
      ::_exit(server && ::getrlimit(RLIMIT_NOFILE, &limit) == 0 && limit.rlim_cur == row.of_server ? 0 : 2);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    EXPECT_EQ(status, 0) << row.current << " of " << row.most;
  }
}

TEST_F(ExchangeTest, a_reply_of_every_size_comes_back_as_it_went) {
  const auto server = serve();
  for (const std::size_t size :
       {std::size_t{1}, std::size_t{8}, std::size_t{48}, std::size_t{4096}, frame_body_limit - 1, frame_body_limit}) {
    const Reply reply = request(pattern(size));
    EXPECT_EQ(reply.status, 0u) << size;
    EXPECT_EQ(reply.text, pattern(size)) << size;
    EXPECT_EQ(reply.length, size);
  }
}

template <typename Word>
void append_word(Bytes *bytes, Word word) {
  const auto more = std::as_bytes(std::span(&word, 1));
  bytes->insert(bytes->end(), more.begin(), more.end());
}

Bytes frame_of_bytes(uint16_t kind, uint32_t token) {
  Bytes frame = to_bytes("SCHF");
  append_word<uint16_t>(&frame, 1);
  append_word<uint16_t>(&frame, kind);
  for (const uint32_t word : {uint32_t{5950}, uint32_t{3}, token, uint32_t{0}, uint32_t{0}, uint32_t{4}})
    append_word(&frame, word);
  frame.resize(frame.size() + 64);  // two empty names
  const Bytes body = to_bytes("body");
  frame.insert(frame.end(), body.begin(), body.end());
  return frame;
}

// A shell may have been started before the service was replaced by one of another version.
TEST_F(ExchangeTest, a_request_and_its_reply_have_the_same_bytes_in_every_version) {
  if constexpr (std::endian::native == std::endian::big) GTEST_SKIP() << "the mark would be written the other way";
  const auto server = serve();
  const RawClient client(socket_path());
  ASSERT_TRUE(client.send(frame_of_bytes(1, 77)));
  Bytes reply(frame_limit);
  const ssize_t size = ::recv(client.get(), reply.data(), reply.size(), 0);
  reply.resize(static_cast<std::size_t>(std::max<ssize_t>(size, 0)));
  EXPECT_TRUE(reply == frame_of_bytes(2, 77)) << size;
}

TEST_F(ExchangeTest, a_request_above_the_limit_is_not_sent) {
  std::atomic<int> taken = 0;
  const auto server = serve([&](const Incoming &incoming) {
    taken++;
    return echo(incoming);
  });
  const Reply reply = request(pattern(frame_body_limit + 1));
  EXPECT_EQ(reply.status, err_too_large);
  EXPECT_TRUE(reply.null);
  EXPECT_EQ(taken, 0);
}

TEST_F(ExchangeTest, a_reply_above_the_limit_is_a_status_and_the_connection_goes_on) {
  const auto server = serve([](const Incoming &incoming) {
    Answer answer;
    answer.reply = incoming.body.size() == 1 ? Bytes(frame_body_limit + 1) : to_bytes("small");
    return answer;
  });
  EXPECT_EQ(request("x").status, err_too_large);
  EXPECT_EQ(request("xy").text, "small");
  EXPECT_EQ(server->clients(), 1);
}

TEST_F(ExchangeTest, an_answer_without_payload_leaves_reply_and_length_alone) {
  const auto server = serve([](const Incoming &) { return Answer(); });
  const Reply reply = request("twelve bytes");
  EXPECT_EQ(reply.status, 0u);
  EXPECT_TRUE(reply.null);
  EXPECT_EQ(reply.length, 12u);
}

TEST_F(ExchangeTest, a_status_is_returned_without_a_reply) {
  const auto server = serve([](const Incoming &) {
    Answer answer;
    answer.status = 0x40bd0002;
    answer.reply = to_bytes("not for the caller");
    return answer;
  });
  const Reply reply = request("x");
  EXPECT_EQ(reply.status, 0x40bd0002u);
  EXPECT_TRUE(reply.null);
}

TEST_F(ExchangeTest, service_class_and_body_arrive_as_sent) {
  std::string seen;
  const auto server = serve([&](const Incoming &incoming) {
    seen = std::to_string(incoming.service) + " " + std::to_string(incoming.message_class) + " " +
           to_text(incoming.body) + " " + incoming.caller.peer_name;
    return Answer();
  });
  const char full_peer[32] = {'p', 'p', 'p', 'p', 'p', 'p', 'p', 'p', 'p', 'p', 'p', 'p', 'p', 'p', 'p', 'p',
                              'p', 'p', 'p', 'p', 'p', 'p', 'p', 'p', 'p', 'p', 'p', 'p', 'p', 'p', 'p', 'p'};
  EXPECT_EQ(request("body", 5951, "", full_peer).status, 0u);
  EXPECT_EQ(seen, "5951 3 body " + std::string(32, 'p'));
}

TEST_F(ExchangeTest, missing_names_are_empty_ones) {
  const auto server = serve();
  EXPECT_EQ(request("x", 5950, nullptr, nullptr).text, "x");
}

TEST_F(ExchangeTest, one_connection_serves_many_requests) {
  const auto server = serve();
  for (int i = 0; i < 100; i++)
    ASSERT_EQ(request(std::to_string(i)).text, std::to_string(i));
  EXPECT_EQ(server->clients(), 1);
}

TEST_F(ExchangeTest, a_socket_path_longer_than_an_address_is_reached) {
  const std::string deep = directory() + "/" + std::string(200, 'd');
  ASSERT_EQ(std::system(("mkdir " + deep).c_str()), 0);
  use_paths({.state = deep, .run = deep, .socket = deep + "/schedd.sock", .system_wide = true});
  Server::Options options;
  options.socket_path = deep + "/schedd.sock";
  const RunningServer server(options, echo);
  EXPECT_EQ(request("far").text, "far");
}

TEST_F(ExchangeTest, a_handler_out_of_memory_is_a_status) {
  const auto server = serve([](const Incoming &) -> Answer { throw std::bad_alloc(); });
  EXPECT_EQ(request("x").status, err_no_memory);
}

// Control requests.

TEST_F(ExchangeTest, a_control_reply_of_any_size_is_joined) {
  const auto server = serve([](const Incoming &incoming) {
    std::size_t size = 0;
    std::memcpy(&size, incoming.body.data() + 4, sizeof size);
    Answer answer;
    answer.reply = to_bytes(pattern(size));
    return answer;
  });
  for (const std::size_t size : {std::size_t{0}, std::size_t{1}, frame_body_limit, frame_body_limit + 1,
                                 2 * frame_body_limit, std::size_t{3000000}}) {
    const auto payload = std::as_bytes(std::span(&size, 1));
    const Result<Bytes> reply = control_request(20, payload);
    ASSERT_EQ(reply.code(), 0u) << size;
    EXPECT_EQ(to_text(*reply), pattern(size)) << size;
  }
  EXPECT_EQ(server->clients(), 1);
}

TEST_F(ExchangeTest, a_control_request_carries_its_operation_and_brings_its_error) {
  std::string seen;
  const auto server = serve([&](const Incoming &incoming) {
    seen = std::to_string(incoming.service) + " " + to_text(incoming.body);
    Answer answer;
    answer.status = err_bad_value;
    return answer;
  });
  const Result<Bytes> reply = control_request(23, to_bytes("five"));
  EXPECT_EQ(seen, "5949 " + std::string("\x17\0\0\0five", 8));
  ASSERT_FALSE(reply);
  EXPECT_EQ(reply.error().code, err_bad_value);
  EXPECT_EQ(reply.error().text, "a value is out of its range");
}

// Streams.

Answer count_to(int last, std::size_t size, std::atomic<int> *asked = nullptr) {
  Answer answer;
  answer.next = [=, number = 0]() mutable -> std::optional<Bytes> {
    if (asked != nullptr) (*asked)++;
    if (number == last) return std::nullopt;
    number++;
    return to_bytes(std::to_string(number) + ":" + pattern(size));
  };
  return answer;
}

struct Sent {
  uint32_t status = 0;
  mts_selector selector = {};
};

Sent send_request(const std::string &body) {
  Sent result;
  cmi_sent_request sent;
  result.status =
      cmi_send_request(5951, 2, body.data(), static_cast<uint32_t>(body.size()), "", "", 0xfe000000, 136, 7, &sent);
  result.selector.words[0] = 1;
  result.selector.words[3] = mts_rr_token_get(&sent);
  return result;
}

// The piece received, or "recv" or "parse" for the step that failed.
std::string receive_piece(const mts_selector &selector) {
  mts_message message;
  if (mts_recv(7, &message, &selector) != 0) return "recv";
  void *reply = nullptr;
  uint32_t length = 0;
  if (cmi_parse_response(&message, &reply, &length) != 0) return "parse";
  std::string piece(static_cast<char *>(reply), length);
  std::free(reply);
  return piece;
}

TEST_F(ExchangeTest, a_stream_arrives_in_order_and_ends) {
  const auto server = serve([](const Incoming &) { return count_to(50, 30000); });
  const Sent sent = send_request("log");
  ASSERT_EQ(sent.status, 0u);
  for (int i = 1; i <= 50; i++)
    ASSERT_EQ(receive_piece(sent.selector), std::to_string(i) + ":" + pattern(30000));
  EXPECT_EQ(receive_piece(sent.selector), "recv");
}

// One packet for each piece would cost a reader of many small ones a wake-up each.
TEST_F(ExchangeTest, small_pieces_of_a_stream_share_packets_and_stay_in_order) {
  const auto server = serve([](const Incoming &) { return count_to(1000, 200); });
  const RawClient client(paths().socket);
  ASSERT_TRUE(client.send(request_header()));
  Bytes packet(frame_limit);
  int packets = 0, pieces = 0;
  for (bool ended = false; !ended;) {
    const ssize_t size = recv(client.get(), packet.data(), packet.size(), 0);
    ASSERT_GT(size, 0);
    packets++;
    std::span<const std::byte> rest(packet.data(), static_cast<std::size_t>(size));
    while (!rest.empty()) {
      ASSERT_FALSE(ended);
      const std::span<const std::byte> from = rest;
      Frame frame;
      ASSERT_TRUE(parse_first_frame(from, &frame, &rest));
      ended = frame.header.kind == FrameKind::stream_end;
      if (!ended) {
        ASSERT_EQ(to_text(frame.body), std::to_string(++pieces) + ":" + pattern(200));
      }
    }
  }
  EXPECT_EQ(pieces, 1000);
  EXPECT_LT(packets, 10);
}

TEST_F(ExchangeTest, a_stream_without_pieces_ends_at_once) {
  const auto server = serve([](const Incoming &) { return count_to(0, 0); });
  const Sent sent = send_request("log");
  EXPECT_EQ(receive_piece(sent.selector), "recv");
}

TEST_F(ExchangeTest, a_single_reply_is_a_stream_of_one) {
  const auto server = serve();
  const Sent sent = send_request("only");
  EXPECT_EQ(receive_piece(sent.selector), "only");
}

TEST_F(ExchangeTest, a_status_or_an_empty_reply_does_not_parse) {
  const auto server = serve([](const Incoming &incoming) {
    Answer answer;
    answer.status = incoming.body.size() == 1 ? 0x40bd0020 : 0;
    return answer;
  });
  const Sent with_status = send_request("1");
  EXPECT_EQ(receive_piece(with_status.selector), "parse");
  const Sent empty = send_request("22");
  EXPECT_EQ(receive_piece(empty.selector), "parse");
}

TEST_F(ExchangeTest, a_selector_of_another_token_receives_nothing) {
  const auto server = serve();
  Sent sent = send_request("x");
  mts_selector other = sent.selector;
  other.words[3]++;
  EXPECT_EQ(receive_piece(other), "recv");
  mts_selector by_nothing = sent.selector;
  by_nothing.words[0] = 0;
  EXPECT_EQ(receive_piece(by_nothing), "recv");
  EXPECT_EQ(receive_piece(sent.selector), "x");
}

TEST_F(ExchangeTest, an_unread_stream_is_made_only_as_far_as_the_sockets_hold_and_holds_up_no_request) {
  std::atomic<int> asked = 0;
  const auto server = serve([&](const Incoming &incoming) {
    return incoming.service == 5951 ? count_to(1000000, 60000, &asked) : echo(incoming);
  });
  const Sent first = send_request("log");
  ASSERT_EQ(first.status, 0u);
  for (int i = 0; i < 100; i++)
    ASSERT_EQ(request("now").text, "now");
  EXPECT_LT(asked, 100);
  const Sent second = send_request("log");
  EXPECT_EQ(receive_piece(first.selector), "recv");
  EXPECT_EQ(receive_piece(second.selector), "1:" + pattern(60000));
  EXPECT_TRUE(server->reaches_clients(2));  // the first stream's connection has gone
}

TEST_F(ExchangeTest, a_stream_that_runs_out_of_memory_hangs_up) {
  const auto server = serve([](const Incoming &) {
    Answer answer;
    answer.next = []() -> std::optional<Bytes> { throw std::bad_alloc(); };
    return answer;
  });
  const Sent sent = send_request("log");
  EXPECT_EQ(receive_piece(sent.selector), "recv");
}

TEST_F(ExchangeTest, a_stream_whose_piece_is_too_large_ends_with_a_status) {
  const auto server = serve([](const Incoming &) { return count_to(3, frame_body_limit); });
  const Sent sent = send_request("log");
  EXPECT_EQ(receive_piece(sent.selector), "parse");
}

// Answers that come later.

struct PipeAnswer : PendingAnswer {
  explicit PipeAnswer(std::atomic<int> *ended) : ended_(ended) {
    EXPECT_EQ(::pipe2(ends, O_CLOEXEC | O_NONBLOCK), 0);
    descriptor = ends[0];
  }
  ~PipeAnswer() override {
    ::close(ends[0]);
    ::close(ends[1]);
    (*ended_)++;
  }
  Answer answer() override {
    char word = 0;
    Answer result;
    result.status = ::read(ends[0], &word, 1) == 1 ? 0 : err_timed_out;
    if (result.status == 0) result.reply = to_bytes("later");
    return result;
  }
  int ends[2];
  std::atomic<int> *ended_;
};

TEST_F(ExchangeTest, a_later_answer_holds_up_nobody_else) {
  std::atomic<int> ended = 0;
  std::shared_ptr<PipeAnswer> pending;  // the server's thread makes it, and writes to it at the other's request
  const auto server = serve([&](const Incoming &incoming) {
    Answer answer;
    if (incoming.service == 5951) {
      pending = std::make_shared<PipeAnswer>(&ended);
      answer.pending = pending;
    } else if (pending) {
      EXPECT_EQ(::write(pending->ends[1], "x", 1), 1);
      pending.reset();
    }
    return answer;
  });
  const Sent sent = send_request("wait");
  while (ended == 0)
    ASSERT_EQ(request("other").status, 0u);
  EXPECT_EQ(receive_piece(sent.selector), "later");
  EXPECT_EQ(ended, 1);
}

TEST_F(ExchangeTest, a_later_answer_is_asked_for_at_its_deadline) {
  std::atomic<int> ended = 0;
  auto server = serve([&](const Incoming &) {
    Answer answer;
    answer.pending = std::make_shared<PipeAnswer>(&ended);
    answer.pending->deadline_ms = 30;
    return answer;
  });
  EXPECT_EQ(request("x").status, err_timed_out);
  server.reset();
  EXPECT_EQ(ended, 1);
}

// Known at once, and as large as a frame can be.
struct LargeAnswer : PendingAnswer {
  LargeAnswer() : known(::eventfd(1, EFD_CLOEXEC)) {
    descriptor = known.get();
    deadline_ms = 1;
  }
  Answer answer() override {
    Answer result;
    result.reply = Bytes(60000);
    return result;
  }
  FileDescriptor known;
};

TEST_F(ExchangeTest, a_later_answer_that_its_client_does_not_take_yet_is_not_asked_for_again_at_its_deadline) {
  constexpr int answers = 20;  // more than a socket holds
  std::atomic<int> ended = 0;
  const auto server = serve([&](const Incoming &incoming) {
    Answer answer;
    if (incoming.service == 5951) {
      answer.pending = std::make_shared<LargeAnswer>();
    } else {
      answer.pending = std::make_shared<PipeAnswer>(&ended);
      answer.pending->deadline_ms = 100;
    }
    return answer;
  });
  const RawClient client(socket_path());
  for (int i = 0; i < answers; i++)
    ASSERT_TRUE(client.send(request_header(0, 5951)));
  EXPECT_EQ(request("never known").status, err_timed_out);  // when that deadline has long passed
  for (int i = 0; i < answers; i++)
    ASSERT_EQ(client.receive()->body.size(), 60000u);
}

// The server in this thread, so that the client takes each piece before the server could find it late.
TEST_F(ExchangeTest, a_client_that_has_taken_a_long_stream_may_be_idle_for_longer_than_it_may_read) {
  constexpr int pieces = 20, deadline_ms = 40;
  Loop loop;
  const Server::Options options = {.socket_path = socket_path(), .only_uid = {}, .deadline_ms = deadline_ms};
  const auto server = Server::listen(options, [](const Incoming &incoming) {
    return incoming.service == 5951 ? count_to(pieces, 60000) : echo(incoming);
  });
  ASSERT_TRUE(server);
  const RawClient client(socket_path());
  ASSERT_TRUE(client.send(request_header(0, 5951)));
  const auto has_sent = [&] {
    char byte = 0;
    return ::recv(client.get(), &byte, 1, MSG_PEEK | MSG_DONTWAIT) > 0;
  };
  for (int taken = 0; taken < pieces;) {
    if (!has_sent()) {
      loop.turn();  // finds room in the socket, whatever time has passed
    } else {
      ASSERT_TRUE(client.receive());
      taken++;
    }
  }
  const Watch later = Watch::after_ms(2 * deadline_ms, [&] { loop.quit(); });
  loop.run();
  ASSERT_EQ((*server)->clients(), 1);
}

TEST_F(ExchangeTest, a_later_answer_of_a_client_that_left_is_dropped) {
  std::atomic<int> begun = 0, ended = 0;
  auto server = serve([&](const Incoming &) {
    begun++;
    Answer answer;
    answer.pending = std::make_shared<PipeAnswer>(&ended);
    return answer;
  });
  {
    const RawClient client(socket_path());
    ASSERT_TRUE(client.send(request_header()));
    while (begun == 0)
      ASSERT_EQ(server->clients(), 1);
  }
  EXPECT_TRUE(server->reaches_clients(0));
  server.reset();
  EXPECT_EQ(ended, 1);
}

}  // namespace transport_test
