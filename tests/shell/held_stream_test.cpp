// SPDX-License-Identifier: Apache-2.0
#include "shell/held_stream.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>

namespace shell {
namespace {

size_t open_files() {
  const std::filesystem::directory_iterator all("/proc/self/fd");
  return static_cast<size_t>(std::distance(begin(all), end(all)));
}

TEST(HeldStream, gives_what_was_written_meanwhile_and_shows_the_rest) {
  testing::internal::CaptureStdout();
  const size_t files = open_files();
  std::fputs("before ", stdout);
  {
    HeldStream held(stdout);
    std::fputs("held", stdout);
    EXPECT_EQ(held.take(), "held");
    std::fputs("between ", stdout);
  }
  std::fputs("behind", stdout);
  EXPECT_EQ(open_files(), files);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "before between behind");
}

TEST(HeldStream, that_nobody_takes_is_dropped) {
  testing::internal::CaptureStdout();
  {
    const HeldStream held(stdout);
    std::fputs("held", stdout);
  }
  std::fputs("behind", stdout);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "behind");
}

TEST(HeldStream, holds_more_than_a_buffer) {
  const std::string text(100'001, 'x');
  HeldStream held(stdout);
  std::fwrite(text.data(), 1, text.size(), stdout);
  EXPECT_EQ(held.take(), text);
}

TEST(HeldStream, holds_within_what_is_held) {
  HeldStream outer(stderr);
  std::fputs("outer", stderr);
  {
    HeldStream inner(stderr);
    std::fputs("inner", stderr);
    EXPECT_EQ(inner.take(), "inner");
  }
  EXPECT_EQ(outer.take(), "outer");
}

TEST(HeldStream, holds_and_leaves_nothing_open_where_standard_input_is_closed) {
  const pid_t child = fork();
  if (child == 0) {
    close(STDIN_FILENO);
    std::string text;
    {
      HeldStream held(stderr);
      std::fputs("held", stderr);
      text = held.take();
    }
    _exit(text == "held" && fcntl(STDIN_FILENO, F_GETFD) == -1 ? 7 : 1);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_EQ(WEXITSTATUS(status), 7);
}

}  // namespace
}  // namespace shell
