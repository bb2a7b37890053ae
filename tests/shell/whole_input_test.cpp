// SPDX-License-Identifier: Apache-2.0
#include "shell/whole_input.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <thread>

#include "tests/shell/pseudo_terminal.h"

namespace shell {
namespace {

constexpr off_t limit = 32 << 20;

class WholeInput : public testing::Test {
 protected:
  WholeInput() {
    char pattern[] = "/tmp/schedsh_input.XXXXXX";
    directory = mkdtemp(pattern);
    path = directory + "/input";
  }
  ~WholeInput() override { std::filesystem::remove_all(directory); }

  static std::string refusal_of(const std::string &path) {
    const host::Result<std::string> text = read_whole(path);
    return text ? "" : text.error().text;
  }

  std::string directory, path;
};

TEST_F(WholeInput, is_a_file_or_what_comes_through_a_pipe) {
  std::ofstream(path) << "one\ntwo\n";
  EXPECT_EQ(*read_whole(path), "one\ntwo\n");
  std::filesystem::remove(path);
  ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
  std::thread writer([this] { std::ofstream(path) << "one\n"; });
  EXPECT_EQ(*read_whole(path), "one\n");
  writer.join();
}

TEST_F(WholeInput, is_no_directory_no_device_and_nothing_that_is_not_there) {
  EXPECT_EQ(refusal_of(directory), directory + ": is a directory");
  EXPECT_EQ(refusal_of("/dev/zero"), "/dev/zero: is a device, no file");
  EXPECT_EQ(refusal_of("/dev/null"), "/dev/null: is a device, no file");
  EXPECT_EQ(refusal_of(path), path + ": No such file or directory");
}

TEST_F(WholeInput, is_bounded) {
  std::ofstream(path).close();
  ASSERT_EQ(truncate(path.c_str(), limit), 0);
  EXPECT_EQ(refusal_of(path), "");
  ASSERT_EQ(truncate(path.c_str(), limit + 1), 0);
  EXPECT_EQ(refusal_of(path), path + ": is too long for a configuration");
}

TEST_F(WholeInput, that_does_not_end_is_given_up) {
  ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
  std::thread writer([this] {
    const int pipe = open(path.c_str(), O_WRONLY | O_CLOEXEC);
    const std::string piece(1 << 20, 'x');
    for (off_t left = limit + 1; left > 0;) {
      const ssize_t length = write(pipe, piece.data(), std::min(piece.size(), static_cast<size_t>(left)));
      if (length <= 0) break;
      left -= length;
    }
    close(pipe);
  });
  EXPECT_EQ(refusal_of(path), path + ": is too long for a configuration, or does not end");
  writer.join();
}

TEST_F(WholeInput, may_be_typed) {
  PseudoTerminal terminal([] {
    std::fputs("type\n", stdout);
    std::fflush(stdout);
    const host::Result<std::string> text = read_whole("-");
    std::printf("%s", text ? ("read " + *text).c_str() : text.error().text.c_str());
    return 0;
  });
  ASSERT_TRUE(terminal.sees("type"));
  terminal.type("feature scheduler\n\x04");
  EXPECT_TRUE(terminal.sees("read feature scheduler\r\n")) << terminal.everything();
}

TEST_F(WholeInput, written_replaces_a_plain_file_alone) {
  EXPECT_TRUE(write_whole(path, "one\n"));
  EXPECT_TRUE(write_whole(path, "two\n"));
  EXPECT_EQ(*read_whole(path), "two\n");
  std::filesystem::remove(path);
  ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
  EXPECT_EQ(write_whole(path, "x").error().text, path + ": is there and no plain file; name another");
}

}  // namespace
}  // namespace shell
