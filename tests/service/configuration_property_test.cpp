// SPDX-License-Identifier: Apache-2.0
// Whatever is configured as a whole is shown byte for byte, and stays so.
#include <gtest/gtest.h>

#include <cstdlib>
#include <vector>

#include "control/configuration.h"
#include "host/acfg.h"
#include "tests/service/configuration_fixture.h"
#include "tests/service/random_configuration.h"

namespace service_test {
namespace {

constexpr int sample = 60, all = 1000;

int rounds() {
  return std::getenv("SCHEDCLI_LONG_TESTS") != nullptr ? all : sample;
}

TEST(RandomConfigurations, are_shown_byte_for_byte_and_after_a_restart_a_boot_and_a_return) {
  std::mt19937 random(20261121);
  World world;
  std::string before = running(world);
  for (int round = 0; round < rounds(); round++) {
    SCOPED_TRACE(round);
    const std::string text = random_configuration(random);
    const ConfigurationAnswer answer = replace(world, text);
    ASSERT_EQ(answer.status, 0u) << answer.problems << text;
    ASSERT_EQ(answer.before, before);
    ASSERT_EQ(answer.after, text);
    ASSERT_EQ(running(world), text);
    ASSERT_EQ(replace(world, text).after, text);
    before = text;
    if (round % 5 != 0) continue;
    world.restart();
    ASSERT_EQ(running(world), text);
    ASSERT_EQ(ask(world, control::Operation::copy_running_startup).status, 0u);
    ASSERT_EQ(text_in(ask(world, control::Operation::startup_text)), text);
  }
}

TEST(RandomConfigurations, come_back_from_the_history) {
  std::mt19937 random(7);
  World world;
  std::vector<std::string> texts;
  for (int i = 0; i < 10; i++) {
    texts.push_back(random_configuration(random));
    ASSERT_EQ(replace(world, texts.back()).status, 0u);
  }
  // The first entry is what was there before.
  for (const uint32_t number : {3u, 9u, 2u, 11u}) {
    SCOPED_TRACE(number);
    ASSERT_EQ(order(world, order_of(control::ConfigurationSource::entry, number)).status, 0u);
    ASSERT_EQ(running(world), texts[number - 2]);
  }
}

// But for what the library leaves out, and the shell adds in the same form.
TEST(ConfigurationText, is_the_librarys_own_where_that_says_all) {
  std::mt19937 random(3);
  World world;
  for (int i = 0; i < 30; i++) {
    const std::string text = random_configuration(random);
    ASSERT_EQ(replace(world, text).status, 0u);
    std::string expected;
    for (size_t at = 0; at < text.size();) {
      const std::string line = text.substr(at, text.find('\n', at) + 1 - at);
      at += line.size();
      if (line.starts_with("no feature")) {
        expected += expected.empty() ? "feature scheduler\n" : "";
      } else if (line.find(" disable schedule ") != line.npos) {
        expected += line.starts_with("  ") ? "  " : "";
      } else if (line.starts_with("scheduler logfile name")) {
        at++;
      } else if (const size_t vrf = line.find(" vrf "); line.find("smtp-server") != line.npos && vrf != line.npos) {
        expected += line.substr(0, vrf) + "\n";
      } else {
        expected += line;
      }
    }
    ASSERT_EQ(host::configuration_text(host::ConfigType::running), expected);
  }
}

}  // namespace
}  // namespace service_test
