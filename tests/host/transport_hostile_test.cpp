// SPDX-License-Identifier: Apache-2.0
// Clients that are broken, hostile, slow or many.
#include <fcntl.h>
#include <sys/socket.h>

#include <atomic>
#include <chrono>
#include <cstring>
#include <latch>
#include <random>

#include "host/status.h"
#include "host/transport/address.h"
#include "tests/host/transport_fixture.h"

namespace transport_test {

using namespace host;

class HostileTest : public TransportTest {};

// A million frames are for the build in which a wrong access is seen.
#ifdef __SANITIZE_ADDRESS__
constexpr bool under_address_sanitizer = true;
#else
constexpr bool under_address_sanitizer = false;
#endif

Bytes packet_of(const FrameHeader &header, std::string_view body = {}) {
  const auto head = std::as_bytes(std::span(&header, 1));
  Bytes packet(head.begin(), head.end());
  const Bytes tail = to_bytes(body);
  packet.insert(packet.end(), tail.begin(), tail.end());
  return packet;
}

struct Malformed {
  const char *what;
  Bytes packet;
  uint32_t status;
};

FrameHeader with(void (*change)(FrameHeader *), std::size_t size = 4) {
  FrameHeader header = request_header(size);
  change(&header);
  return header;
}

Bytes of_size(std::size_t size) {
  Bytes packet = packet_of(request_header());
  packet.resize(size);
  const auto length = static_cast<uint32_t>(size - sizeof(FrameHeader));
  std::memcpy(packet.data() + offsetof(FrameHeader, length), &length, sizeof length);
  return packet;
}

Bytes cut(std::size_t size) {
  Bytes packet = packet_of(request_header());
  packet.resize(size);
  return packet;
}

std::vector<Malformed> malformed_packets() {
  const auto kind = [](int value) {
    FrameHeader header = request_header(4);
    header.kind = static_cast<FrameKind>(value);
    return packet_of(header, "body");
  };
  return {
      {"one byte", cut(1), err_bad_request},
      {"half a header", cut(sizeof(FrameHeader) / 2), err_bad_request},
      {"a header but one byte", cut(sizeof(FrameHeader) - 1), err_bad_request},
      {"foreign magic", packet_of(with([](FrameHeader *h) { h->magic = ~h->magic; }), "body"), err_bad_request},
      {"older version", packet_of(with([](FrameHeader *h) { h->version = 0; }), "body"), err_bad_request},
      {"newer version", packet_of(with([](FrameHeader *h) { h->version = 2; }), "body"), err_bad_request},
      {"no kind", kind(0), err_bad_request},
      {"a reply", kind(2), err_bad_request},
      {"an end of a stream", kind(3), err_bad_request},
      {"a refusal", kind(4), err_bad_request},
      {"an unknown kind", kind(5), err_bad_request},
      {"the last kind", kind(65535), err_bad_request},
      {"length 0 before a body", packet_of(with([](FrameHeader *h) { h->length = 0; }), "body"), err_bad_request},
      {"length below the body", packet_of(with([](FrameHeader *h) { h->length = 3; }), "body"), err_bad_request},
      {"length above the body", packet_of(with([](FrameHeader *h) { h->length = 5; }), "body"), err_bad_request},
      {"length of everything", packet_of(with([](FrameHeader *h) { h->length = ~0u; }), "body"), err_bad_request},
      {"length that wraps", packet_of(with([](FrameHeader *h) { h->length = ~0u - 91; }), "body"), err_bad_request},
      {"one byte above the limit", of_size(frame_limit + 1), err_too_large},
      {"far above the limit", of_size(frame_limit + 30000), err_too_large},
  };
}

TEST_F(HostileTest, a_malformed_packet_is_refused_with_its_reason_and_hung_up_on) {
  const auto server = serve();
  for (const Malformed &row : malformed_packets()) {
    const RawClient client(socket_path());
    ASSERT_TRUE(client.send(row.packet)) << row.what;
    const auto answer = client.receive();
    ASSERT_TRUE(answer) << row.what;
    EXPECT_EQ(answer->header.kind, FrameKind::refusal) << row.what;
    EXPECT_EQ(answer->header.status, row.status) << row.what;
    EXPECT_TRUE(client.hung_up()) << row.what;
    EXPECT_EQ(request("honest").text, "honest") << row.what;
  }
  EXPECT_TRUE(server->reaches_clients(1));
}

TEST_F(HostileTest, a_packet_at_the_limit_is_served) {
  const auto server = serve();
  const RawClient client(socket_path());
  ASSERT_TRUE(client.send(of_size(frame_limit)));
  EXPECT_EQ(client.receive()->body.size(), frame_body_limit);
}

TEST_F(HostileTest, an_empty_packet_is_a_departure) {
  const auto server = serve();
  const RawClient client(socket_path());
  ASSERT_EQ(::send(client.get(), "", 0, MSG_NOSIGNAL), 0);
  EXPECT_TRUE(client.hung_up());
  EXPECT_TRUE(server->reaches_clients(0));
}

TEST_F(HostileTest, unknown_numbers_reach_the_handler_and_its_status_comes_back) {
  const auto server = serve([](const Incoming &incoming) {
    Answer answer;
    answer.status = incoming.service == 5950 ? 0 : err_unknown_service;
    return answer;
  });
  EXPECT_EQ(request("x", 1).status, err_unknown_service);
  EXPECT_EQ(request("x", ~0u).status, err_unknown_service);
  EXPECT_EQ(request("x").status, 0u);
}

TEST_F(HostileTest, a_descriptor_sent_along_is_refused_and_not_kept) {
  const auto server = serve();
  int ends[2];
  ASSERT_EQ(::pipe2(ends, O_CLOEXEC), 0);
  const FileDescriptor reading(ends[0]);
  FileDescriptor writing(ends[1]);
  const RawClient client(socket_path());
  ASSERT_TRUE(server->reaches_clients(1));

  FrameHeader header = request_header();
  iovec part = {&header, sizeof header};
  alignas(cmsghdr) char control[CMSG_SPACE(sizeof(int))] = {};
  msghdr message = {};
  message.msg_iov = &part;
  message.msg_iovlen = 1;
  message.msg_control = control;
  message.msg_controllen = sizeof control;
  cmsghdr *rights = CMSG_FIRSTHDR(&message);
  rights->cmsg_level = SOL_SOCKET;
  rights->cmsg_type = SCM_RIGHTS;
  rights->cmsg_len = CMSG_LEN(sizeof(int));
  std::memcpy(CMSG_DATA(rights), &ends[1], sizeof(int));
  ASSERT_EQ(::sendmsg(client.get(), &message, MSG_NOSIGNAL), static_cast<ssize_t>(sizeof header));
  writing = FileDescriptor();

  EXPECT_EQ(client.receive()->header.status, err_bad_request);
  EXPECT_TRUE(client.hung_up());
  char byte = 0;
  EXPECT_EQ(::read(reading.get(), &byte, 1), 0);  // no writer is left: end of file instead of a wait
}

// Frames by the million: bytes at random, and requests with some field at random. Those that are requests are
// echoed, the others refused; nothing else ever comes back.
TEST_F(HostileTest, random_frames_are_echoed_or_refused) {
  constexpr int frames = under_address_sanitizer ? 1000000 : 100000;
  constexpr unsigned longest_body = 300;
  const auto server = serve();
  std::mt19937 random(20261121);
  auto client = std::make_unique<RawClient>(socket_path());
  int echoed = 0, refused = 0;
  for (int i = 0; i < frames; i++) {
    std::string body(random() % longest_body, static_cast<char>(random()));
    Bytes packet = packet_of(request_header(body.size()), body);
    const unsigned changes = random() % 4;
    for (unsigned change = 0; change < changes; change++) {
      // Not in the user's name: whom a client may speak for is another test's matter.
      const std::size_t place = random() % offsetof(FrameHeader, user);
      packet[place] = static_cast<std::byte>(random());
    }
    if (random() % 16 == 0) packet.resize(1 + random() % packet.size());
    Frame frame;
    const bool sound = parse_frame(packet, &frame) && frame.header.kind == FrameKind::request;
    ASSERT_TRUE(client->send(packet));
    const auto answer = client->receive();
    ASSERT_TRUE(answer);
    ASSERT_EQ(answer->header.kind, sound ? FrameKind::reply : FrameKind::refusal);
    if (sound) {
      ASSERT_EQ(answer->header.token, frame.header.token);
      ASSERT_EQ(answer->body, to_text(frame.body));
      echoed++;
    } else {
      client = std::make_unique<RawClient>(socket_path());
      refused++;
    }
  }
  EXPECT_GT(echoed, frames / 4);
  EXPECT_GT(refused, frames / 10);
}

TEST_F(HostileTest, a_million_random_packets_parse_only_as_what_they_say) {
  std::mt19937 random(5950);
  int frames = 0;
  for (int i = 0; i < 1000000; i++) {
    Bytes packet = of_size(sizeof(FrameHeader) + random() % 64);
    packet[random() % 32] = static_cast<std::byte>(random());
    packet.resize(random() % 8 == 0 ? random() % (packet.size() + 1) : packet.size());
    Frame frame;
    if (!parse_frame(packet, &frame)) continue;
    ASSERT_EQ(frame.body.size(), frame.header.length);
    ASSERT_EQ(frame.body.size() + sizeof(FrameHeader), packet.size());
    ASSERT_TRUE(frame.body.empty() || frame.body.data() + frame.body.size() == packet.data() + packet.size());
    frames++;
  }
  EXPECT_GT(frames, 100000);
}

// Slow and half-open clients.

TEST_F(HostileTest, a_client_that_leaves_its_reply_untaken_is_cut_off) {
  const auto server = serve(
      [](const Incoming &) {
        Answer answer;
        answer.next = []() -> std::optional<Bytes> { return Bytes(60000); };
        return answer;
      },
      30);
  const RawClient client(socket_path());
  ASSERT_TRUE(client.send(request_header()));
  EXPECT_TRUE(server->reaches_clients(1));
  EXPECT_TRUE(server->reaches_clients(0));
}

TEST_F(HostileTest, a_client_that_takes_its_stream_slowly_is_not_cut_off) {
  constexpr int pieces = 40;
  const auto server = serve(
      [](const Incoming &) {
        Answer answer;
        answer.next = [left = pieces]() mutable -> std::optional<Bytes> {
          return left-- > 0 ? std::optional(Bytes(60000)) : std::nullopt;
        };
        return answer;
      },
      2000);
  const RawClient client(socket_path());
  ASSERT_TRUE(client.send(request_header()));
  for (int i = 0; i < pieces; i++) {
    ASSERT_EQ(server->clients(), 1);  // the server has its turn between any two pieces
    ASSERT_EQ(client.receive()->body.size(), 60000u);
  }
  EXPECT_EQ(client.receive()->header.kind, FrameKind::stream_end);
}

TEST_F(HostileTest, an_idle_client_keeps_its_connection) {
  const auto server = serve(echo, 10);
  const RawClient client(socket_path());
  ASSERT_TRUE(server->reaches_clients(1));
  const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(50);
  while (std::chrono::steady_clock::now() < end)
    ASSERT_EQ(server->clients(), 1);
  ASSERT_TRUE(client.send(request_header(1), "x"));
  EXPECT_EQ(client.receive()->body, "x");
}

TEST_F(HostileTest, a_half_open_client_gets_its_answer_and_is_then_gone) {
  const auto server = serve();
  const RawClient client(socket_path());
  ASSERT_TRUE(client.send(request_header(1), "x"));
  ASSERT_EQ(::shutdown(client.get(), SHUT_WR), 0);
  EXPECT_EQ(client.receive()->body, "x");
  EXPECT_TRUE(client.hung_up());
  EXPECT_TRUE(server->reaches_clients(0));
}

TEST_F(HostileTest, requests_sent_ahead_are_answered_one_by_one_in_order) {
  const auto server = serve();
  const RawClient client(socket_path());
  for (uint32_t token = 1; token <= 50; token++)
    ASSERT_TRUE(client.send(request_header(1, 5950, token), "x"));
  for (uint32_t token = 1; token <= 50; token++)
    ASSERT_EQ(client.receive()->header.token, token);
}

// One client sends far ahead before anything of it is served, another one asks once.
class SendingAhead {
 public:
  Answer operator()(const Incoming &incoming) {
    if (!begun_) return echo(incoming);
    all_sent_.wait();
    order_ += to_text(incoming.body);
    return echo(incoming);
  }
  // How many of the one were served before the other.
  std::size_t served_before(const RawClient &other, const RawClient &eager) {
    constexpr int ahead = 100;
    begun_ = true;
    for (int i = 0; i < ahead; i++)
      EXPECT_TRUE(eager.send(request_header(1), "e"));
    EXPECT_TRUE(other.send(request_header(1), "o"));
    all_sent_.count_down();
    for (int i = 0; i < ahead; i++)
      EXPECT_EQ(eager.receive()->body, "e");
    EXPECT_EQ(other.receive()->body, "o");
    return order_.find('o');
  }

 private:
  std::atomic<bool> begun_ = false;
  std::latch all_sent_{1};
  std::string order_;  // the server's until the last answer
};

constexpr int turn = 17;  // of one client: 16 requests and the one that begins it

TEST_F(HostileTest, a_client_that_sends_ahead_holds_up_no_other) {
  SendingAhead race;
  const auto server = serve(std::ref(race));
  const RawClient eager(socket_path()), other(socket_path());
  ASSERT_TRUE(server->reaches_clients(2));
  EXPECT_LE(race.served_before(other, eager), turn + 1);  // and one as the other's is seen
}

TEST_F(HostileTest, a_client_that_sends_ahead_when_its_turn_is_over_and_something_else_came_holds_up_no_other) {
  SendingAhead race;
  const auto server = serve(std::ref(race));
  const RawClient eager(socket_path()), other(socket_path());
  ASSERT_TRUE(server->reaches_clients(2));
  for (int i = 0; i < turn; i++) {
    ASSERT_TRUE(eager.send(request_header(1), "e"));
    ASSERT_EQ(eager.receive()->body, "e");
  }
  ASSERT_EQ(server->clients(), 2);                        // wakes the server
  EXPECT_LE(race.served_before(other, eager), turn + 1);  // and one as the other's is seen
}

// A thousand that ask for endless streams and take nothing, hang half open or say nothing at all.
TEST_F(HostileTest, a_thousand_stalled_clients_hold_up_no_honest_one) {
  constexpr int stalled = 1000;
  raise_open_files(4096);
  const auto server = serve([](const Incoming &incoming) {
    if (incoming.service != 5951) return echo(incoming);
    Answer answer;
    answer.next = []() -> std::optional<Bytes> { return Bytes(60000); };
    return answer;
  });
  std::vector<std::unique_ptr<RawClient>> clients;
  for (int i = 0; i < stalled; i++) {
    clients.push_back(std::make_unique<RawClient>(socket_path()));
    if (i % 3 == 1) {
      ASSERT_TRUE(clients.back()->send(request_header(0, 5951)));
    } else if (i % 3 == 2) {
      ASSERT_EQ(::shutdown(clients.back()->get(), SHUT_RD), 0);
    }
  }
  for (int i = 0; i < 1000; i++)
    ASSERT_EQ(request(std::to_string(i)).text, std::to_string(i));
  EXPECT_GE(server->clients(), stalled);
}

TEST_F(HostileTest, one_client_above_the_limit_is_told_that_the_service_is_busy) {
  const auto server = serve();
  auto clients = as_many_as_may_connect();
  const auto most = static_cast<int>(clients.size());
  ASSERT_TRUE(server->reaches_clients(most));
  EXPECT_EQ(request("x").status, err_busy);
  EXPECT_EQ(server->clients(), most);
  clients.pop_back();
  ASSERT_TRUE(server->reaches_clients(most - 1));
  EXPECT_EQ(request("x").text, "x");
}

TEST_F(HostileTest, no_descriptor_is_left_behind) {
  const int before = open_descriptors();
  {
    const auto server = serve();
    for (const Malformed &row : malformed_packets()) {
      const RawClient client(socket_path());
      ASSERT_TRUE(client.send(row.packet));
      client.receive();
    }
  }
  EXPECT_EQ(open_descriptors(), before);
}

// The listening socket.

TEST_F(HostileTest, a_stale_socket_is_replaced_and_anything_else_is_left) {
  { const auto server = serve(); }
  const FileDescriptor stale(::socket(AF_UNIX, SOCK_SEQPACKET, 0));
  const auto address = socket_address(socket_path());
  ASSERT_EQ(::bind(stale.get(), address->get(), SocketAddress::size()), 0);
  {
    const auto server = serve();
    EXPECT_EQ(request("x").text, "x");
  }
  const FileDescriptor file(::open(socket_path().c_str(), O_CREAT | O_RDWR, 0600));
  const Loop loop;
  const auto server = Server::listen({.socket_path = socket_path(), .only_uid = {}}, echo);
  ASSERT_FALSE(server);
  EXPECT_EQ(server.error().text, "cannot replace the socket " + socket_path() + ": File exists; remove what is there");
}

TEST_F(HostileTest, a_missing_directory_is_named) {
  const Loop loop;
  const std::string path = directory() + "/none/schedd.sock";
  const auto server = Server::listen({.socket_path = path, .only_uid = {}}, echo);
  ASSERT_FALSE(server);
  EXPECT_EQ(server.error().text, "cannot bind the socket " + path +
                                     ": No such file or directory; see that its directory exists and can be written");
}

}  // namespace transport_test
