// SPDX-License-Identifier: Apache-2.0
// The control groups of runs: in a tree of plain files, and where this machine has them the kernel's own.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "service/process/run_groups.h"
#include "tests/service/process_fixture.h"

namespace service_test {
namespace {

using ::testing::ElementsAre;

uint64_t slept_us = 0;  // while there is a tree of the following kind

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
  void remove_of_run(const std::string &file) const { std::filesystem::remove(run() + "/" + file); }
  void refuse(const std::string &file) const { refused_ = file; }
  void hold(const std::string &group) const { held_ = path() + "/" + group; }  // as long as it has a process
  bool holds(const std::string &group) const { return group == held_; }

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
  mutable std::string refused_, held_;
  const GroupTree *const current_ = tree() = this;
};

struct GroupsInTree : ::testing::Test {
  void SetUp() override { ASSERT_TRUE(groups); }

  const GroupTree tree;
  host::Result<service::RunGroups> groups = service::RunGroups::below(tree.path());
};

service::Limits all_limits() {
  service::Limits limits;
  limits.memory_bytes = 64 << 20;
  limits.tasks = 20;
  limits.cpu_percent = 150;
  return limits;
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

TEST_F(GroupsInTree, a_run_gets_the_limits_of_its_class_where_the_controllers_are) {
  EXPECT_TRUE(groups->limits_memory());
  EXPECT_TRUE(groups->limits_tasks());
  const host::Result<service::RunGroup> group = groups->make(all_limits(), false);
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

TEST_F(GroupsInTree, a_run_without_limits_is_given_none) {
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
  const host::Result<service::RunGroup> group = groups->make(all_limits(), false);
  ASSERT_TRUE(group);
  EXPECT_EQ(tree.of_run("memory.max"), "");
}

TEST_F(GroupsInTree, a_run_without_limits_of_its_own_writes_none_whatever_the_controllers_refuse) {
  for (const char *file : {"memory.max", "pids.max", "cpu.max"}) {
    tree.refuse(file);
    EXPECT_TRUE(groups->make(service::Limits(), false)) << file;
  }
}

TEST_F(GroupsInTree, each_limit_that_cannot_be_set_starts_no_job) {
  const service::Limits limits = all_limits();
  for (const char *file : {"memory.max", "pids.max", "cpu.max"}) {
    tree.refuse(file);
    const host::Result<service::RunGroup> group = groups->make(limits, false);
    ASSERT_FALSE(group) << file;
    EXPECT_THAT(group.error().text, ::testing::HasSubstr("the limits of " + tree.path()));
  }
  for (const char *file : {"memory.swap.max", "memory.oom.group"}) {  // which not every kernel has
    tree.refuse(file);
    EXPECT_TRUE(groups->make(limits, false)) << file;
  }
}

TEST_F(GroupsInTree, a_group_goes_with_those_below_it_and_only_when_it_is_empty) {
  host::Result<service::RunGroup> group = groups->make(service::Limits(), false);
  ASSERT_TRUE(group);
  const std::string name = "run-" + std::to_string(getpid()) + "-1";
  ASSERT_TRUE(std::filesystem::exists(tree.path() + "/" + name));
  ASSERT_EQ(mkdir((tree.path() + "/" + name + "/below").c_str(), 0755), 0);
  tree.hold(name);
  EXPECT_FALSE(group->remove());
  EXPECT_TRUE(*group);
  tree.hold("");
  EXPECT_TRUE(group->remove());
  EXPECT_FALSE(*group);
  EXPECT_FALSE(std::filesystem::exists(tree.path() + "/" + name));
  EXPECT_TRUE(group->remove());
}

TEST_F(GroupsInTree, a_group_is_killed_by_the_kernel_and_before_that_was_there_process_by_process) {
  const host::Result<service::RunGroup> group = groups->make(service::Limits(), false);
  ASSERT_TRUE(group);
  pid_t children[2];
  for (pid_t &child : children)
    if ((child = fork()) == 0)
      while (true)
        pause();
  const std::string both = std::to_string(children[0]) + "\n" + std::to_string(children[1]) + "\n";
  tree.write_of_run("cgroup.procs", both);
  EXPECT_THAT(group->processes(), ElementsAre(children[0], children[1]));
  tree.write_of_run("cgroup.kill", "");
  group->kill();
  EXPECT_EQ(tree.of_run("cgroup.kill"), "1");
  for (const pid_t child : children)
    EXPECT_EQ(waitpid(child, nullptr, WNOHANG), 0);
  EXPECT_TRUE(group->signal(0));
  tree.remove_of_run("cgroup.kill");
  group->kill();
  for (const pid_t child : children) {
    int status = 0;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(WTERMSIG(status), SIGKILL);
  }
  tree.write_of_run("cgroup.procs", "");
  EXPECT_FALSE(group->signal(0));
}

TEST(ControlGroups, what_is_read_of_a_group_that_was_not_made_is_nothing) {
  service::RunGroup none;
  EXPECT_FALSE(none);
  EXPECT_TRUE(none.processes().empty());
  EXPECT_FALSE(none.signal(SIGKILL));
  EXPECT_FALSE(none.out_of_memory());
  EXPECT_TRUE(none.remove());
}

TEST_F(GroupsInTree, what_an_earlier_service_has_left_is_waited_for_ten_seconds_and_what_may_stay_is_not) {
  for (const char *name : {"/run-1-1", "/run-1-2", "/daemons-1-1", "/other"})
    ASSERT_EQ(mkdir((tree.path() + name).c_str(), 0755), 0);
  tree.hold("run-1-2");
  slept_us = 0;
  EXPECT_FALSE(groups->end_left_overs());
  EXPECT_EQ(slept_us, 10'000'000u);
  const auto is_there = [&](const char *name) { return std::filesystem::exists(tree.path() + name); };
  EXPECT_FALSE(is_there("/run-1-1"));
  EXPECT_TRUE(is_there("/run-1-2"));
  EXPECT_FALSE(is_there("/daemons-1-1"));
  EXPECT_TRUE(is_there("/other"));
  ASSERT_EQ(mkdir((tree.path() + "/daemons-1-2").c_str(), 0755), 0);
  tree.hold("daemons-1-2");
  slept_us = 0;
  EXPECT_TRUE(groups->end_left_overs());
  EXPECT_EQ(slept_us, 0u);
  EXPECT_FALSE(is_there("/run-1-2"));
  EXPECT_TRUE(is_there("/daemons-1-2"));
  tree.hold("");
}

TEST(ControlGroups, the_own_one_is_that_of_the_second_hierarchy) {
  EXPECT_EQ(service::own_group("8:pids:/a\n0::/system.slice/schedd.service\n"), "/system.slice/schedd.service");
  EXPECT_FALSE(service::own_group("8:pids:/a\n"));
}

TEST(ControlGroups, below_a_directory_that_is_no_group_nothing_is_made) {
  const Directory directory;
  const host::Result<service::RunGroups> groups = service::RunGroups::below(directory.path() + "/none");
  ASSERT_FALSE(groups);
  EXPECT_THAT(groups.error().text, ::testing::HasSubstr(directory.path() + "/none: no control group to use: "));
  EXPECT_FALSE(service::RunGroups::below(directory.path() + "/no/directory"));
}

TEST(ControlGroups, a_service_that_was_given_a_group_which_it_cannot_use_starts_nothing_and_says_so) {
  const Directory directory;
  service::Processes processes({.starter = SCHEDD_STARTER_BUILT,
                                .directory = directory.path(),
                                .group_directory = directory.path() + "/group",
                                .pam = false});
  const host::Result<void> ended = processes.end_left_overs();
  ASSERT_FALSE(ended);
  EXPECT_THAT(ended.error().text, ::testing::HasSubstr("/group: no control group to use: "));
  EXPECT_FALSE(processes.start(task("true\n")));
}

// In a group of its own, a child does as a service that a supervisor has started there.
class Delegated : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string why;
    group = usable_group(&why);
    if (group.empty()) GTEST_SKIP() << why;
    for (const char *value : {"0", "1"})
      if (setxattr(group.c_str(), "trusted.delegate", value, 1, 0) != 0) GTEST_SKIP() << "a group takes no mark";
  }
  void TearDown() override {
    for (const auto *name : {"/service", ""})
      rmdir((group + name).c_str());
  }

  // Whether the check holds in a process of the group.
  template <typename Check>
  bool holds_inside(Check check) const {
    const pid_t child = fork();
    if (child == 0) {
      std::ofstream(group + "/cgroup.procs") << getpid() << std::flush;
      _exit(check() ? 0 : 1);
    }
    int status = 0;
    return waitpid(child, &status, 0) == child && status == 0;
  }

  std::string group;
};

TEST_F(Delegated, a_marked_group_is_used_by_a_service_that_has_moved_below_it) {
  EXPECT_TRUE(holds_inside([&] {
    umask(0);
    std::optional<service::RunGroups> groups = service::RunGroups::delegated();
    if (!groups) return false;
    const std::string own = std::filesystem::path(group).filename().string() + "/service\n";
    std::ifstream in("/proc/self/cgroup");
    const std::string text{std::istreambuf_iterator<char>(in), {}};
    struct stat leaf = {};
    const host::Result<service::RunGroup> run = groups->make(service::Limits(), false);
    return text.find(own) != text.npos && stat((group + "/service").c_str(), &leaf) == 0 &&
           (leaf.st_mode & 07777) == 0755 && run &&
           std::filesystem::exists(group + "/run-" + std::to_string(getpid()) + "-1");
  }));
}

TEST_F(Delegated, a_group_that_an_earlier_start_has_moved_below_is_used_again) {
  EXPECT_TRUE(holds_inside([&] {
    return service::RunGroups::delegated() && service::RunGroups::delegated() &&
           !std::filesystem::exists(group + "/service/service");
  }));
}

TEST_F(Delegated, a_group_that_is_not_marked_is_not_used) {
  ASSERT_EQ(setxattr(group.c_str(), "trusted.delegate", "0", 1, 0), 0);
  EXPECT_TRUE(holds_inside([] { return !service::RunGroups::delegated(); }));
  EXPECT_FALSE(std::filesystem::exists(group + "/service"));
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
  if (tree != nullptr && tree->holds(path)) {
    errno = EBUSY;
    return -1;
  }
  if (tree != nullptr && std::string(path).starts_with(tree->path() + "/"))
    for (const auto &file : std::filesystem::directory_iterator(path))
      if (!file.is_directory()) std::filesystem::remove(file.path());
  return static_cast<int>(syscall(SYS_unlinkat, AT_FDCWD, path, AT_REMOVEDIR));
}

extern "C" int usleep(useconds_t time) {
  if (service_test::GroupTree::tree() != nullptr) {
    service_test::slept_us += time;
    return 0;
  }
  const timespec span = {static_cast<time_t>(time / 1000000), static_cast<long>(time % 1000000) * 1000};
  return nanosleep(&span, nullptr);
}
