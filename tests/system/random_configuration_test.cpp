// SPDX-License-Identifier: Apache-2.0
// Configurations at random on the real programs: replaced as a whole, given line by line, saved, taken back and kept
// over a restart, each is shown byte for byte.
#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>

#include "tests/service/random_configuration.h"
#include "tests/system/service_process.h"

namespace system_test {
namespace {

constexpr int sample = 5, all = 1000;

int rounds() {
  return std::getenv("SCHEDCLI_LONG_TESTS") != nullptr ? all : sample;
}

class RandomConfiguration : public testing::Test {
 protected:
  RandomConfiguration() {
    service_.environment("TZ=UTC");
    EXPECT_TRUE(service_.start()) << service_.errors();
  }

  std::string shell(const std::vector<std::string> &commands) {
    std::vector<std::string> arguments = {"-e"};
    for (const std::string &command : commands)
      arguments.insert(arguments.end(), {"-c", command});
    return run_shell(state_, arguments, &status_);
  }
  std::string running() { return shell({"show running-config"}); }

  void replace(const std::string &text) {
    const std::string path = directory_.path() + "/site.conf";
    std::ofstream(path) << text;
    const std::string said = shell({"configure replace " + path});
    ASSERT_EQ(status_, 0) << said << text;
  }

  void expect_same_line_by_line(const std::string &text) {
    EXPECT_EQ(run_shell(state_, {"-e"}, &status_, text), "");
    EXPECT_EQ(status_, 0);
    EXPECT_EQ(running(), text);
  }

  uint32_t newest() {
    const std::string history = shell({"show configuration history"});
    return static_cast<uint32_t>(std::strtoul(history.c_str() + history.find('\n') + 1, nullptr, 10));
  }

  TemporaryDirectory directory_;
  std::string state_ = directory_.path() + "/state";
  ServiceProcess service_{state_};
  int status_ = -1;
};

TEST_F(RandomConfiguration, is_shown_byte_for_byte_whatever_it_came_from) {
  std::mt19937 random(20261122);
  std::string before = "feature scheduler\n";
  replace(before);
  for (int round = 0; round < rounds() && !HasFailure(); round++) {
    SCOPED_TRACE(round);
    const std::string text = service_test::random_configuration(random);
    const uint32_t kept = newest();
    replace(text);
    ASSERT_EQ(running(), text);
    expect_same_line_by_line(text);
    EXPECT_EQ(shell({"write memory", "show startup-config"}), text);
    shell({"rollback " + std::to_string(kept)});
    EXPECT_EQ(running(), before);
    shell({"copy startup-config running-config"});
    replace(text);
    ASSERT_EQ(service_.stop(), 0) << service_.errors();
    ASSERT_TRUE(service_.start()) << service_.errors();
    EXPECT_EQ(running(), text);
    before = text;
  }
}

}  // namespace
}  // namespace system_test
