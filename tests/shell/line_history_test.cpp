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
  for (const mode_t others : {0640, 0620, 0610, 0604, 0602, 0601}) {
    chmod(path.c_str(), others);
    EXPECT_EQ(LineHistory(path).read(), Lines{}) << others;
    LineHistory(path).add("two");
  }
  chmod(path.c_str(), 0600);
  EXPECT_EQ(LineHistory(path).read(), Lines{"one"});
  EXPECT_EQ(LineHistory(directory).read(), Lines{});
  EXPECT_EQ(LineHistory("/dev/zero").read(), Lines{});
}

TEST_F(History, of_another_user_is_not_used) {
  if (geteuid() != 0) GTEST_SKIP() << "needs root";
  LineHistory(path).add("one");
  ASSERT_EQ(chown(path.c_str(), 65534, 65534), 0);
  EXPECT_EQ(LineHistory(path).read(), Lines{});
  LineHistory(path).add("two");
  EXPECT_EQ(std::filesystem::file_size(path), 4u);
}

TEST_F(History, is_no_reason_to_wait) {
  ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
  EXPECT_EQ(LineHistory(path).read(), Lines{});
  LineHistory(path).add("one");
}

TEST_F(History, of_a_few_lines_stays_as_it_is) {
  std::string text;
  while (text.size() < 128 * 1024)
    text += std::string(1023, 'x') + "\n";
  std::ofstream(path) << text;
  chmod(path.c_str(), 0600);
  EXPECT_EQ(LineHistory(path).read().size(), 128u);
  std::ofstream(path, std::ios::app) << "cut";
  EXPECT_EQ(LineHistory(path).read().size(), 128u);
  EXPECT_EQ(std::filesystem::file_size(path), text.size()) << "above the half it is written anew";
}

// The first line of what is read of a larger file may be cut.
TEST_F(History, is_read_from_the_end_of_a_large_file) {
  std::ofstream(path) << std::string(1000, 'x') << "\n" << std::string(256 * 1024 - 9, 'y') << "\none\ntwo\n";
  chmod(path.c_str(), 0600);
  EXPECT_EQ(LineHistory(path).read(), (Lines{"one", "two"}));
  std::ofstream(path) << std::string(256 * 1024 - 5, 'y') << "\none\n";
  EXPECT_EQ(LineHistory(path).read().size(), 2u);
  std::ofstream(path) << std::string(256 * 1024 - 4, 'y') << "\none\n";
  EXPECT_EQ(LineHistory(path).read(), Lines{"one"});
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
  setenv("HOME", directory.c_str(), 1);
  for (const char *none : {"", "relative"}) {
    setenv("XDG_STATE_HOME", none, 1);
    EXPECT_EQ(history_path(), directory + "/.local/state/schedsh_history");
  }
  EXPECT_TRUE(std::filesystem::is_directory(directory + "/.local/state"));
  unsetenv("XDG_STATE_HOME");
  EXPECT_EQ(history_path(), directory + "/.local/state/schedsh_history");
  setenv("HOME", "relative", 1);
  EXPECT_EQ(history_path(), "");
  unsetenv("HOME");
  EXPECT_EQ(history_path(), "");
}

}  // namespace
}  // namespace shell
