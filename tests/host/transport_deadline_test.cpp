// SPDX-License-Identifier: Apache-2.0
// How long a client waits, with a clock that stands still.
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <ctime>
#include <future>

#include "host/status.h"
#include "host/transport/connection.h"
#include "host/transport/transport.h"
#include "tests/host/transport_fixture.h"

namespace {
timespec fixed = {};
}

// In the place of the C library's, for every library of the process.
extern "C" int clock_gettime(clockid_t clock, timespec *now) noexcept {
#ifdef SYS_clock_gettime64  // 32 bits, with a time of 64
  constexpr long call = SYS_clock_gettime64;
#else
  constexpr long call = SYS_clock_gettime;
#endif
  if (clock != CLOCK_MONOTONIC_COARSE) return static_cast<int>(syscall(call, clock, now));
  *now = fixed;
  return 0;
}

namespace transport_test {

struct Moment {
  timespec now;
  int remaining_ms;
};

constexpr long ms = 1000000;

TEST(Deadline, passes_when_the_timeout_is_over_and_not_before) {
  fixed = {100, 900 * ms};
  host::set_reply_timeout_ms(2500);
  const host::Deadline deadline = host::Deadline::of_reply();
  const Moment moments[] = {
      {{100, 900 * ms}, 2500},       {{100, 901 * ms}, 2499}, {{101, 0}, 2400},     {{103, 399 * ms}, 1},
      {{103, 399 * ms + 999999}, 1}, {{103, 400 * ms}, 0},    {{103, 401 * ms}, 0}, {{9000, 0}, 0}};
  for (const Moment &moment : moments) {
    fixed = moment.now;
    EXPECT_EQ(deadline.remaining_ms(), moment.remaining_ms) << fixed.tv_sec << " s " << fixed.tv_nsec;
    EXPECT_EQ(deadline.has_passed(), moment.remaining_ms == 0) << fixed.tv_sec << " s " << fixed.tv_nsec;
  }
}

TEST(Deadline, below_nothing_is_now) {
  fixed = {100, 0};
  for (const int timeout : {0, -1, -5000}) {
    host::set_reply_timeout_ms(timeout);
    EXPECT_EQ(host::Deadline::of_reply().remaining_ms(), 0);
    EXPECT_TRUE(host::Deadline::of_reply().has_passed());
  }
}

TEST(Deadline, of_nothing_has_passed) {
  fixed = {100, 0};
  EXPECT_TRUE(host::Deadline().has_passed());
  EXPECT_EQ(host::Deadline().remaining_ms(), 0);
}

class WaitTest : public TransportTest {};

TEST_F(WaitTest, ends_at_its_deadline_also_when_another_answer_is_there_already) {
  fixed = {100, 0};
  host::set_reply_timeout_ms(1000);
  std::promise<void> sent;
  const PlayedService service(socket_path(), 1, [&](int socket) {
    host::FrameHeader header = request_header();
    header.kind = host::FrameKind::reply;
    host::Bytes packet;
    for (const uint32_t token : {1U, 2U}) {
      header.token = token;
      const auto frame = std::as_bytes(std::span(&header, 1));
      packet.insert(packet.end(), frame.begin(), frame.end());
    }
    EXPECT_EQ(host::send_packet(socket, packet), host::SendResult::sent);
    sent.set_value();
    char byte = 0;
    while (::recv(socket, &byte, 1, 0) > 0) {
    }
  });
  host::Connection connection;
  const host::Deadline deadline = host::Deadline::of_reply();
  ASSERT_TRUE(connection.send(request_header(), {}, deadline));
  sent.get_future().wait();
  fixed = {101, 0};
  EXPECT_EQ(connection.receive(request_header().service, 2, deadline).code(), host::err_timed_out);
  EXPECT_FALSE(connection.usable());
}

}  // namespace transport_test
