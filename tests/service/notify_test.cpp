// SPDX-License-Identifier: Apache-2.0
#include "service/notify.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "host/loop/loop.h"

namespace service {
namespace {

struct Supervised : ::testing::Test {
  ~Supervised() override {
    unsetenv("WATCHDOG_USEC");
    unsetenv("WATCHDOG_PID");
  }
  unsigned period(const char *interval_us, const std::string &process = {}) {
    setenv("WATCHDOG_USEC", interval_us, 1);
    if (!process.empty()) setenv("WATCHDOG_PID", process.c_str(), 1);
    return watchdog_period_ms();
  }
};

TEST_F(Supervised, keep_alives_come_twice_in_each_interval) {
  EXPECT_EQ(period("30000000"), 15000u);
  EXPECT_EQ(period("20000"), 10u);
  EXPECT_EQ(period("2001"), 1u);
}

TEST_F(Supervised, an_interval_below_two_milliseconds_gets_one_each_and_a_long_one_one_a_day) {
  EXPECT_EQ(period("1"), 1u);
  EXPECT_EQ(period("172800000000"), 86400000u);
  EXPECT_EQ(period("18446744073709551615"), 86400000u);
}

TEST_F(Supervised, without_an_interval_or_for_another_process_there_are_none) {
  EXPECT_EQ(watchdog_period_ms(), 0u);
  EXPECT_EQ(period("0"), 0u);
  EXPECT_EQ(period("30000000", std::to_string(getpid() + 1)), 0u);
  EXPECT_EQ(period("30000000", std::to_string(getpid())), 15000u);
}

// A supervisor's socket, in the abstract namespace or at a path.
struct Supervisor : Supervised {
  ~Supervisor() override {
    unsetenv("NOTIFY_SOCKET");
    close(socket);
    if (path[0] == '/') unlink(path.c_str());
  }
  void listen(const std::string &at) {
    path = at;
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path);
    if (path[0] == '@') address.sun_path[0] = '\0';
    const auto size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + path.size());
    ASSERT_EQ(bind(socket, reinterpret_cast<sockaddr *>(&address), size), 0);
    setenv("NOTIFY_SOCKET", path.c_str(), 1);
  }
  std::string heard() const {
    char text[4096];
    const ssize_t size = recv(socket, text, sizeof text, MSG_DONTWAIT);
    return size < 0 ? "(nothing)" : std::string(text, static_cast<size_t>(size));
  }

  const std::string name = "schedcli-notify-test-" + std::to_string(getpid());
  std::string path = "?";
  int socket = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
};

TEST_F(Supervisor, hears_what_it_is_told_at_a_path) {
  listen("/tmp/" + name);
  notify_supervisor("READY=1");
  EXPECT_EQ(heard(), "READY=1");
  EXPECT_EQ(heard(), "(nothing)");
}

TEST_F(Supervisor, hears_what_it_is_told_at_an_abstract_address) {
  listen("@" + name);
  notify_supervisor("READY=1");
  EXPECT_EQ(heard(), "READY=1");
}

TEST_F(Supervisor, whose_address_is_none_hears_nothing) {
  listen("@" + name);
  for (const std::string &wrong : {std::string(), std::string("@"), std::string(108, 'x'), std::string(4000, 'x')}) {
    setenv("NOTIFY_SOCKET", wrong.c_str(), 1);
    notify_supervisor("READY=1");
  }
  unsetenv("NOTIFY_SOCKET");
  notify_supervisor("READY=1");
  EXPECT_EQ(heard(), "(nothing)");
}

TEST_F(Supervisor, hears_when_the_settings_began_to_be_read_again) {
  listen("@" + name);
  const auto microseconds = [] {
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return int64_t{now.tv_sec} * 1000000 + now.tv_nsec / 1000;
  };
  const int64_t before = microseconds();
  notify_reloading();
  const std::string text = heard(), head = "RELOADING=1\nMONOTONIC_USEC=";
  ASSERT_THAT(text, ::testing::StartsWith(head));
  EXPECT_GE(std::stoll(text.substr(head.size())), before);
  EXPECT_LE(std::stoll(text.substr(head.size())), microseconds());
}

TEST_F(Supervisor, hears_how_long_the_end_may_take_and_how_long_no_sign_of_life_comes) {
  listen("@" + name);
  notify_stopping(40);
  EXPECT_EQ(heard(), "STOPPING=1");
  EXPECT_EQ(heard(), "EXTEND_TIMEOUT_USEC=40000000");
  setenv("WATCHDOG_USEC", "30000000", 1);
  notify_stopping(5000);
  EXPECT_EQ(heard(), "STOPPING=1");
  EXPECT_EQ(heard(), "EXTEND_TIMEOUT_USEC=5000000000\nWATCHDOG_USEC=5000000000");
}

TEST_F(Supervisor, hears_signs_of_life_where_it_asks_for_them) {
  listen("@" + name);
  host::Loop loop;
  { const Watchdog none; }
  EXPECT_EQ(heard(), "(nothing)");
  setenv("WATCHDOG_USEC", "4000", 1);
  const Watchdog watchdog;
  EXPECT_EQ(heard(), "WATCHDOG=1");
  for (int signs = 0; signs < 3;) {
    loop.turn();
    for (std::string text; (text = heard()) != "(nothing)"; signs++)
      EXPECT_EQ(text, "WATCHDOG=1");
  }
}

}  // namespace
}  // namespace service
