// SPDX-License-Identifier: Apache-2.0
// What a boot from the startup configuration says of what it leaves out.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "control/operations.h"
#include "host/debug.h"
#include "service/state/tables.h"
#include "tests/service/operator_requests.h"

namespace service_test {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

constexpr char line_head[] = "left out by the boot from the startup configuration: ";

struct LeftOut : ::testing::Test {
  World world;

  LeftOut() {
    EXPECT_EQ(create_job(world, "saved", "true\n"), 0u);
    EXPECT_EQ(ask(world, control::Operation::copy_running_startup, {}).status, 0u);
    world.settings.boot_from = service::BootFrom::startup;
  }

  void create(const std::string &name, const host::Caller &caller = root()) {
    ASSERT_EQ(create_schedule(world, name, {}, {}, caller), 0u);
  }

  std::string said_by_a_boot() {
    host::syslog_open("left_out_test", true);
    ::testing::internal::CaptureStderr();
    world.boot();
    std::string said = ::testing::internal::GetCapturedStderr();
    host::syslog_open("left_out_test", false);
    return said;
  }

  static size_t count(const std::string &text, const std::string &part) {
    size_t found = 0;
    for (size_t at = text.find(part); at != text.npos; at = text.find(part, at + 1))
      found++;
    return found;
  }
};

TEST_F(LeftOut, is_told_with_its_owners_and_where_it_is_kept) {
  create("roots");
  create("nobodys", nobody());
  ASSERT_EQ(ask(world, control::Operation::disable_schedule, bytes("roots")).status, 0u);
  const std::string said = said_by_a_boot();
  EXPECT_THAT(said, HasSubstr(std::string(line_head) + "schedule roots of root"));
  EXPECT_THAT(said, HasSubstr(std::string(line_head) + "schedule nobodys of nobody"));
  EXPECT_THAT(said, HasSubstr(std::string(line_head) + "scheduler disable schedule roots\n"));
  EXPECT_THAT(said, HasSubstr(std::string(line_head) + "3 in all, kept in " + world.directory.path() +
                              "/state/boot-left-out-20261121-120000.conf"));
  EXPECT_EQ(count(said, line_head), 4u);
}

TEST_F(LeftOut, is_told_in_a_hundred_lines_and_how_much_it_is_in_all) {
  for (int i = 0; i < 101; i++)
    create("s" + std::to_string(i));
  const std::string said = said_by_a_boot();
  EXPECT_EQ(count(said, line_head), 101u);
  EXPECT_EQ(count(said, "schedule s"), 100u);
  EXPECT_THAT(said, HasSubstr("101 in all, kept in "));
}

TEST_F(LeftOut, is_not_spoken_of_where_there_is_nothing) {
  EXPECT_THAT(said_by_a_boot(), Not(HasSubstr(line_head)));
}

}  // namespace
}  // namespace service_test
