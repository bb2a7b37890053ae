// SPDX-License-Identifier: Apache-2.0
#include "shell/line_history.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

namespace shell {
namespace {

class History : public testing::Test {
 protected:
  History() {
    char pattern[] = "/tmp/schedsh_history.XXXXXX";
    directory = mkdtemp(pattern);
    path = directory + "/lines";
  }
  ~History() override { std::filesystem::remove_all(directory); }

  std::string directory, path;
};

using Lines = std::vector<std::string>;

TEST_F(History, gives_what_was_added_to_the_next_session) {
  LineHistory(path).add("one");
  LineHistory(path).add("two");
  EXPECT_EQ(LineHistory(path).read(), (Lines{"one", "two"}));
  struct stat status {};
  ASSERT_EQ(stat(path.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0600u);
}

TEST_F(History, is_none_without_a_place) {
  LineHistory("").add("one");
  EXPECT_EQ(LineHistory("").read(), Lines{});
  LineHistory("/nowhere/lines").add("one");
  EXPECT_EQ(LineHistory("/nowhere/lines").read(), Lines{});
}

TEST_F(History, uses_no_link_no_device_and_no_file_that_others_read) {
  std::ofstream(directory + "/elsewhere") << "secret\n";
  chmod((directory + "/elsewhere").c_str(), 0600);  // so that only the link is wrong
  symlink((directory + "/elsewhere").c_str(), path.c_str());
  EXPECT_EQ(LineHistory(path).read(), Lines{});
  LineHistory(path).add("one");
  EXPECT_EQ(std::filesystem::file_size(directory + "/elsewhere"), 7u);
  std::filesystem::remove(path);
  std::ofstream(path) << "one\n";
  chmod(path.c_str(), 0644);
  EXPECT_EQ(LineHistory(path).read(), Lines{});
  EXPECT_EQ(LineHistory(directory).read(), Lines{});
  EXPECT_EQ(LineHistory("/dev/zero").read(), Lines{});
}

TEST_F(History, is_bounded_in_lines_and_bytes) {
  std::ofstream file(path);
  for (int i = 0; i < 20000; i++)
    file << "a line of some length, number " << i << "\n";
  file.close();
  chmod(path.c_str(), 0600);
  const Lines lines = LineHistory(path).read();
  EXPECT_EQ(lines.size(), history_size);
  EXPECT_EQ(lines.back(), "a line of some length, number 19999");
  EXPECT_LT(std::filesystem::file_size(path), 64u * 1024);
  EXPECT_EQ(LineHistory(path).read(), lines);
}

TEST_F(History, leaves_out_a_line_that_was_cut) {
  std::ofstream(path) << "one\ntw";
  chmod(path.c_str(), 0600);
  EXPECT_EQ(LineHistory(path).read(), Lines{"one"});
}

TEST_F(History, lies_where_the_operator_says) {
  setenv("SCHEDSH_HISTORY", "/a/b", 1);
  EXPECT_EQ(history_path(), "/a/b");
  unsetenv("SCHEDSH_HISTORY");
  setenv("XDG_STATE_HOME", directory.c_str(), 1);
  EXPECT_EQ(history_path(), directory + "/schedsh_history");
  unsetenv("XDG_STATE_HOME");
}

}  // namespace
}  // namespace shell
