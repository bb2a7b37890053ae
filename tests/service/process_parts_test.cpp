// SPDX-License-Identifier: Apache-2.0
// What the start of a process is made of, each by itself.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>

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

// A tree of plain files in the form of the kernel's, where a machine may have no controller to offer: a new directory
// comes with its files, as a group does.
class GroupTree {
 public:
  explicit GroupTree(bool has_controllers = true) {
    make_files(path());
    if (has_controllers) return;
    std::filesystem::remove(path() + "/cgroup.subtree_control");
    std::filesystem::create_symlink("/dev/full", path() + "/cgroup.subtree_control");
  }
  ~GroupTree() { tree() = nullptr; }
  GroupTree(const GroupTree &) = delete;
  GroupTree &operator=(const GroupTree &) = delete;

  const std::string &path() const { return directory_.path(); }
  std::string of_run(const std::string &file) const {
    std::ifstream in(run() + "/" + file);
    return {std::istreambuf_iterator<char>(in), {}};
  }
  void write_of_run(const std::string &file, const std::string &text) const {
    std::ofstream(run() + "/" + file) << text;
  }
  void refuse(const std::string &file) const { refused_ = file; }

  static const GroupTree *&tree() {
    static const GroupTree *current = nullptr;
    return current;
  }
  void made(const std::string &group) const {
    make_files(group);
    if (refused_.empty()) return;
    std::filesystem::remove(group + "/" + refused_);
    std::filesystem::create_symlink("/dev/full", group + "/" + refused_);
  }

 private:
  static void make_files(const std::string &group) {
    for (const char *file : {"cgroup.procs", "cgroup.subtree_control", "memory.oom.group", "memory.events",
                             "memory.max", "memory.swap.max", "pids.max", "cpu.max"})
      std::ofstream(group + "/" + file);
  }
  std::string run() const {
    for (const auto &entry : std::filesystem::directory_iterator(path()))
      if (entry.is_directory()) return entry.path();
    return "(no run)";
  }

  Directory directory_;
  mutable std::string refused_;
  const GroupTree *const current_ = tree() = this;
};

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

TEST(ControlGroups, a_run_gets_the_limits_of_its_class_where_the_controllers_are) {
  const GroupTree tree;
  host::Result<service::RunGroups> groups = service::RunGroups::below(tree.path());
  ASSERT_TRUE(groups);
  EXPECT_TRUE(groups->limits_memory());
  EXPECT_TRUE(groups->limits_tasks());
  service::Limits limits;
  limits.memory_bytes = 64 << 20;
  limits.tasks = 20;
  limits.cpu_percent = 150;
  const host::Result<service::RunGroup> group = groups->make(limits, false);
  ASSERT_TRUE(group);
  EXPECT_EQ(tree.of_run("memory.max"), "67108864");
  EXPECT_EQ(tree.of_run("memory.swap.max"), "0");
  EXPECT_EQ(tree.of_run("memory.oom.group"), "1");
  EXPECT_EQ(tree.of_run("pids.max"), "20");
  EXPECT_EQ(tree.of_run("cpu.max"), "150000 100000");
  EXPECT_FALSE(group->out_of_memory());
  tree.write_of_run("memory.events", "low 0\nhigh 3\nmax 7\noom 1\noom_kill 1\n");
  EXPECT_TRUE(group->out_of_memory());
}

TEST(ControlGroups, a_run_without_limits_is_given_none) {
  const GroupTree tree;
  host::Result<service::RunGroups> groups = service::RunGroups::below(tree.path());
  ASSERT_TRUE(groups);
  const host::Result<service::RunGroup> group = groups->make(service::Limits(), false);
  ASSERT_TRUE(group);
  for (const char *file : {"memory.max", "memory.swap.max", "pids.max", "cpu.max"})
    EXPECT_EQ(tree.of_run(file), "") << file;
}

TEST(ControlGroups, without_controllers_a_run_is_made_and_the_limits_are_left_to_the_processes) {
  const GroupTree tree(false);
  host::Result<service::RunGroups> groups = service::RunGroups::below(tree.path());
  ASSERT_TRUE(groups);
  EXPECT_FALSE(groups->limits_memory());
  EXPECT_FALSE(groups->limits_tasks());
  service::Limits limits;
  limits.memory_bytes = 64 << 20;
  limits.tasks = 20;
  limits.cpu_percent = 50;
  const host::Result<service::RunGroup> group = groups->make(limits, false);
  ASSERT_TRUE(group);
  EXPECT_EQ(tree.of_run("memory.max"), "");
}

TEST(ControlGroups, a_limit_that_cannot_be_set_starts_no_job) {
  const GroupTree tree;
  host::Result<service::RunGroups> groups = service::RunGroups::below(tree.path());
  ASSERT_TRUE(groups);
  tree.refuse("pids.max");
  service::Limits limits;
  limits.tasks = 20;
  const host::Result<service::RunGroup> group = groups->make(limits, false);
  ASSERT_FALSE(group);
  EXPECT_THAT(group.error().text, ::testing::HasSubstr("the limits of " + tree.path()));
}

TEST(ControlGroups, the_own_one_is_that_of_the_second_hierarchy) {
  EXPECT_EQ(service::own_group("8:pids:/a\n0::/system.slice/schedd.service\n"), "/system.slice/schedd.service");
  EXPECT_FALSE(service::own_group("8:pids:/a\n"));
}

}  // namespace
}  // namespace service_test

// Groups are made and removed with their files in the tree above.
extern "C" int mkdir(const char *path, mode_t mode) {
  const long result = syscall(SYS_mkdirat, AT_FDCWD, path, mode);
  const auto *tree = service_test::GroupTree::tree();
  if (result == 0 && tree != nullptr && std::string(path).starts_with(tree->path() + "/")) tree->made(path);
  return static_cast<int>(result);
}

extern "C" int rmdir(const char *path) {
  const auto *tree = service_test::GroupTree::tree();
  if (tree != nullptr && std::string(path).starts_with(tree->path() + "/"))
    for (const auto &file : std::filesystem::directory_iterator(path))
      std::filesystem::remove(file.path());
  return static_cast<int>(syscall(SYS_unlinkat, AT_FDCWD, path, AT_REMOVEDIR));
}
