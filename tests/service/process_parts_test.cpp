// SPDX-License-Identifier: Apache-2.0
// What the start of a process is made of, each by itself.
#include <dlfcn.h>
#include <gmock/gmock.h>
#include <grp.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <fstream>

#include "service/process/groups.h"
#include "tests/service/world.h"

namespace {
size_t largest_room = 0;  // that was offered for the record of the group whose members nothing is large enough for
constexpr gid_t endless_group = 4244;
}  // namespace

extern "C" int getgrgid_r(gid_t number, group *record, char *room, size_t size, group **found) {
  static const auto real = reinterpret_cast<decltype(&getgrgid_r)>(dlsym(RTLD_NEXT, "getgrgid_r"));
  if (number != endless_group) return real(number, record, room, size, found);
  largest_room = std::max(largest_room, size);
  return ERANGE;
}

namespace service_test {
namespace {

using service::Groups;
using std::chrono::minutes;
using ::testing::ElementsAre;

int look_ups = 0;

bool count_look_up(const host::User &user, std::vector<gid_t> *groups) {
  look_ups++;
  *groups = {user.gid, 100};
  return user.name != "unknown";
}

class GroupsOfUsers : public ::testing::Test {
 protected:
  GroupsOfUsers() {
    look_ups = 0;
    std::ofstream(file) << "one\n";
  }
  const Directory directory;
  const std::string file = directory.path() + "/group";
  Groups groups{{file}, count_look_up};
  const Groups::Clock::time_point now;
  const host::User user{1000, 1000, "user", "/", "/bin/sh"};
};

TEST_F(GroupsOfUsers, are_looked_up_once) {
  for (int i = 0; i < 3; i++)
    EXPECT_THAT(*groups.of(user, now), ElementsAre(1000, 100));
  EXPECT_EQ(look_ups, 1);
}

TEST_F(GroupsOfUsers, are_looked_up_again_when_a_file_has_changed) {
  groups.of(user, now);
  std::ofstream(file, std::ios::app) << "two\n";
  groups.of(user, now);
  EXPECT_EQ(look_ups, 2);
  std::ofstream(file + ".new") << "one\ntwo\n";  // of the same size, renamed over it
  ASSERT_EQ(rename((file + ".new").c_str(), file.c_str()), 0);
  groups.of(user, now);
  EXPECT_EQ(look_ups, 3);
}

TEST_F(GroupsOfUsers, are_looked_up_again_after_a_while_as_a_directory_far_away_may_have_changed) {
  groups.of(user, now);
  groups.of(user, now + minutes(9));
  EXPECT_EQ(look_ups, 1);
  groups.of(user, now + minutes(10));
  EXPECT_EQ(look_ups, 2);
}

TEST_F(GroupsOfUsers, are_looked_up_again_for_another_first_group) {
  groups.of(user, now);
  host::User moved = user;
  moved.gid = 7;
  EXPECT_THAT(*groups.of(moved, now), ElementsAre(7, 100));
}

TEST_F(GroupsOfUsers, a_failure_is_told_and_not_kept) {
  host::User unknown = user;
  unknown.name = "unknown";
  EXPECT_EQ(groups.of(unknown, now), nullptr);
  EXPECT_EQ(groups.of(unknown, now), nullptr);
  EXPECT_EQ(look_ups, 2);
}

TEST(GroupsOfTheSystem, are_named_but_for_those_that_have_no_name_or_too_many_members) {
  Groups groups{{}, [](const host::User &, std::vector<gid_t> *all) {
                  *all = {0, endless_group, 4245, 1};
                  return true;
                }};
  const host::User user{1000, 1000, "user", "/", "/bin/sh"};
  EXPECT_THAT(*groups.names_of(user, {}), ElementsAre("root", "daemon"));
  EXPECT_EQ(largest_room, size_t{1} << 20);
}

TEST(GroupsOfTheSystem, root_has_its_own) {
  EXPECT_THAT(*Groups().of({0, 0, "root", "/root", "/bin/sh"}, {}), ::testing::Contains(0));
}

}  // namespace
}  // namespace service_test
