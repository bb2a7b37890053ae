// SPDX-License-Identifier: Apache-2.0
#include "host/files/paths.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "host/files/directory.h"

namespace {

class PathsTest : public testing::Test {
 protected:
  PathsTest() {
    for (const char *name : names)
      unsetenv(name);
  }
  static constexpr const char *names[] = {"SCHEDCLI_STATE_DIR", "XDG_STATE_HOME", "XDG_RUNTIME_DIR",
                                          "SCHEDCLI_RUN_DIR"};
};

TEST_F(PathsTest, named_directory_comes_before_the_environments) {
  setenv("SCHEDCLI_STATE_DIR", "/from/environment", 1);
  EXPECT_EQ(host::resolve_paths("/named").state, "/named");
  EXPECT_EQ(host::resolve_paths(nullptr).state, "/from/environment");
  EXPECT_EQ(host::resolve_paths("").state, "/from/environment");
  unsetenv("SCHEDCLI_STATE_DIR");
}

TEST_F(PathsTest, named_directory_holds_its_run_directory_and_socket) {
  const host::Paths paths = host::resolve_paths("/named");
  EXPECT_EQ(paths.run, "/named/run");
  EXPECT_EQ(paths.socket, "/named/run/schedd.sock");
  EXPECT_EQ(paths.system_wide, geteuid() == 0);
}

TEST_F(PathsTest, run_directory_can_be_named_apart) {
  setenv("SCHEDCLI_RUN_DIR", "/elsewhere", 1);
  EXPECT_EQ(host::resolve_paths("/named").run, "/elsewhere");
  EXPECT_EQ(host::resolve_paths("/named").socket, "/elsewhere/schedd.sock");
  EXPECT_EQ(host::resolve_paths(nullptr).run, "/elsewhere");
  unsetenv("SCHEDCLI_RUN_DIR");
}

TEST_F(PathsTest, relative_directory_is_made_absolute) {
  char here[4096];
  ASSERT_NE(getcwd(here, sizeof here), nullptr);
  EXPECT_EQ(host::resolve_paths("some/where").state, std::string(here) + "/some/where");
}

TEST_F(PathsTest, defaults_are_the_systems_for_root_and_the_users_for_others) {
  const host::Paths paths = host::resolve_paths(nullptr);
  if (geteuid() == 0) {
    EXPECT_EQ(paths.state, "/var/lib/schedcli");
    EXPECT_EQ(paths.run, "/run/schedcli");
    return;
  }
  setenv("HOME", "/home/someone", 1);
  EXPECT_EQ(host::resolve_paths(nullptr).state, "/home/someone/.local/state/schedcli");
  EXPECT_EQ(host::resolve_paths(nullptr).run, "/home/someone/.local/state/schedcli/run");
  setenv("XDG_STATE_HOME", "/state", 1);
  setenv("XDG_RUNTIME_DIR", "/run/user/7", 1);
  EXPECT_EQ(host::resolve_paths(nullptr).state, "/state/schedcli");
  EXPECT_EQ(host::resolve_paths(nullptr).run, "/run/user/7/schedcli");
}

TEST_F(PathsTest, clients_use_their_own_service_before_the_systems_and_a_named_one_before_both) {
  char directory[] = "/tmp/schedcli-paths.XXXXXX";
  ASSERT_NE(mkdtemp(directory), nullptr);
  const std::string root = directory, system_socket = root + "/system.sock", own_run = root + "/schedcli";
  setenv("XDG_RUNTIME_DIR", directory, 1);
  const std::string own_socket = host::resolve_paths(nullptr).socket;
  EXPECT_EQ(host::client_paths(system_socket.c_str()).socket, own_socket);
  std::ofstream(system_socket) << "";
  EXPECT_EQ(host::client_paths(system_socket.c_str()).socket, system_socket);
  setenv("SCHEDCLI_STATE_DIR", directory, 1);
  EXPECT_EQ(host::client_paths(system_socket.c_str()).socket, root + "/run/schedd.sock");
  unsetenv("SCHEDCLI_STATE_DIR");
  std::filesystem::create_directory(own_run);
  std::ofstream(own_run + "/schedd.sock") << "";
  if (geteuid() != 0) {
    EXPECT_EQ(host::client_paths(system_socket.c_str()).socket, own_run + "/schedd.sock");
  }
  unsetenv("XDG_RUNTIME_DIR");
  std::filesystem::remove_all(root);
}

TEST_F(PathsTest, used_paths_replace_the_resolved_ones) {
  host::use_paths(host::resolve_paths("/used"));
  EXPECT_EQ(host::paths().state, "/used");
}

TEST(DirectoryTest, parent_is_found_whatever_the_slashes) {
  const std::pair<const char *, const char *> cases[] = {{"/a/b", "/a"}, {"/a/b/", "/a"}, {"/a//b", "/a"}, {"/a", "/"},
                                                         {"/", "/"},     {"a", "."},      {"a/b", "a"}};
  for (const auto &[path, parent] : cases)
    EXPECT_EQ(host::parent_directory(path), parent) << path;
}

}  // namespace
