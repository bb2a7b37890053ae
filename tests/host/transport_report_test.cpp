// SPDX-License-Identifier: Apache-2.0
// What the system log gets to see of refused clients.
#include <syslog.h>

#include <chrono>
#include <cstdarg>
#include <cstdio>
#include <mutex>
#include <stdexcept>

#include "host/refusal_report.h"
#include "host/status.h"
#include "tests/host/transport_fixture.h"

namespace transport_test {

using namespace host;
using namespace std::chrono_literals;

struct Line {
  int priority;
  std::string text;
};

std::mutex lines_mutex;
std::vector<Line> lines;

// In the place of the C library's, for every library of the process.
extern "C" void vsyslog(int priority, const char *format, va_list arguments) {
  char text[512];
  std::vsnprintf(text, sizeof text, format, arguments);
  const std::lock_guard lock(lines_mutex);
  lines.push_back({LOG_PRI(priority), text});
}

class ReportTest : public TransportTest {
 protected:
  ReportTest() { lines.clear(); }
};

TEST_F(ReportTest, a_crowd_of_refused_clients_is_one_line) {
  const auto server = serve();
  for (int i = 0; i < 200; i++) {
    const RawClient client(socket_path());
    ASSERT_TRUE(client.send(to_bytes("nonsense")));
    ASSERT_TRUE(client.receive());
  }
  const std::lock_guard lock(lines_mutex);
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_EQ(lines[0].priority, LOG_WARNING);
  EXPECT_EQ(lines[0].text, "refused process " + std::to_string(::getpid()) + " of uid " + std::to_string(::geteuid()) +
                               ": the request is malformed (and 0 others before it)");
}

TEST_F(ReportTest, speaking_for_an_unknown_user_is_reported) {
  const auto server = serve();
  EXPECT_NE(request("x", 5950, "no-such-user").status, 0u);
  const std::lock_guard lock(lines_mutex);
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_NE(lines[0].text.find("not permitted for this user"), std::string::npos) << lines[0].text;
}

TEST_F(ReportTest, a_minute_has_so_many_lines_and_the_next_one_says_how_many_were_left_out) {
  RefusalReport report(2);
  const auto begun = std::chrono::steady_clock::now();
  const auto refuse_after = [&](std::chrono::milliseconds after) {
    report.add(7, "uid 1000", err_busy, begun + after);
  };
  for (const auto after : {0ms, 0ms, 1ms, 59999ms, 60000ms, 60001ms, 119999ms, 120000ms})
    refuse_after(after);
  std::vector<std::string> ends;
  for (const Line &line : lines)
    ends.push_back(line.text.substr(line.text.find("(and ")));
  EXPECT_EQ(ends, (std::vector<std::string>{"(and 0 others before it)", "(and 0 others before it)",
                                            "(and 2 others before it)", "(and 0 others before it)",
                                            "(and 1 others before it)"}));
}

TEST_F(ReportTest, a_handler_that_fails_is_an_error_and_its_client_is_hung_up_on) {
  const auto server = serve([](const Incoming &) -> Answer { throw std::runtime_error("odd"); });
  const RawClient client(socket_path());
  ASSERT_TRUE(client.send(request_header()));
  EXPECT_TRUE(client.hung_up());
  EXPECT_TRUE(server->reaches_clients(0));
  const std::lock_guard lock(lines_mutex);
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_EQ(lines[0].priority, LOG_ERR);
  EXPECT_EQ(lines[0].text, "an event was not served to its end: odd");
}

TEST_F(ReportTest, a_client_above_the_limit_is_reported) {
  const auto server = serve();
  const auto clients = as_many_as_may_connect();
  ASSERT_TRUE(server->reaches_clients(static_cast<int>(clients.size())));
  const RawClient one_too_many(socket_path());
  ASSERT_TRUE(one_too_many.receive());
  const std::lock_guard lock(lines_mutex);
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_NE(lines[0].text.find("of uid " + std::to_string(::geteuid()) + ": "), std::string::npos) << lines[0].text;
  EXPECT_NE(lines[0].text.find("busy"), std::string::npos) << lines[0].text;
}

TEST_F(ReportTest, honest_clients_are_not_reported) {
  const auto server = serve();
  EXPECT_EQ(request("x").status, 0u);
  const std::lock_guard lock(lines_mutex);
  EXPECT_TRUE(lines.empty());
}

}  // namespace transport_test
