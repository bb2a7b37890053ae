// SPDX-License-Identifier: Apache-2.0
// What the start of a process is made of, each by itself.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>

#include "service/process/groups.h"
#include "service/process/run_groups.h"
#include "tests/service/world.h"

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

TEST(GroupsOfTheSystem, root_has_its_own) {
  EXPECT_THAT(*Groups().of({0, 0, "root", "/root", "/bin/sh"}, {}), ::testing::Contains(0));
}

TEST(ControlGroups, the_second_hierarchy_is_found_among_the_mounts) {
  const auto mount = service::group_mount(
      "24 1 0:22 / /sys rw,nosuid - sysfs sysfs rw\n"
      "30 24 0:26 / /sys/fs/cgroup/cpu rw shared:9 - cgroup cgroup rw,cpu\n"
      "31 24 0:27 /base /sys/fs/my\\040groups rw shared:9 - cgroup2 cgroup2 rw,nsdelegate\n");
  ASSERT_TRUE(mount);
  EXPECT_EQ(mount->mounted_at, "/sys/fs/my groups");
  EXPECT_EQ(mount->root, "/base");
  EXPECT_FALSE(service::group_mount("24 1 0:22 / /sys rw,nosuid - sysfs sysfs rw\n"));
}

TEST(ControlGroups, the_own_one_is_that_of_the_second_hierarchy) {
  EXPECT_EQ(service::own_group("8:pids:/a\n0::/system.slice/schedd.service\n"), "/system.slice/schedd.service");
  EXPECT_FALSE(service::own_group("8:pids:/a\n"));
}

}  // namespace
}  // namespace service_test
