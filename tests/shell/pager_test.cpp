// SPDX-License-Identifier: Apache-2.0
// The pager as a person has it: on a terminal.
#include "shell/pager.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "tests/shell/pseudo_terminal.h"

namespace shell {
namespace {

size_t open_files() {
  const std::filesystem::directory_iterator all("/proc/self/fd");
  return static_cast<size_t>(std::distance(begin(all), end(all)));
}

// Shows so many lines, then says whether everything is as before; as the shell does it, which ignores the signal.
int show(int lines) {
  signal(SIGPIPE, SIG_IGN);
  const size_t files = open_files();
  {
    const std::optional<Pager> pager = Pager::start();
    for (int i = 0; i < lines; i++)
      std::printf("line %d of many\n", i);
  }
  const bool whole = std::ferror(stdout) == 0 && open_files() == files;
  const bool waited_for = waitpid(-1, nullptr, WNOHANG) == -1 && errno == ECHILD;
  std::printf("behind the pager: %s\n", whole && waited_for ? "all well" : "something is left");
  return 0;
}

constexpr int many = 20000;  // more than the pipe to the pager holds

std::string text_of(const std::string &path) {
  std::ifstream file(path);
  return {std::istreambuf_iterator<char>(file), {}};
}

std::string child_of(pid_t parent) {
  const std::string line = "\nPPid:\t" + std::to_string(parent) + "\n";
  for (const auto &process : std::filesystem::directory_iterator("/proc"))
    if (text_of(process.path() / "status").find(line) != std::string::npos) return process.path();
  return "";
}

TEST(Pager, waits_for_a_person_where_it_is_more_than_a_screen) {
  PseudoTerminal terminal([] { return show(100); });
  ASSERT_TRUE(terminal.sees("line 9 of many"));
  ASSERT_TRUE(terminal.sees("\r\n:"));
  EXPECT_EQ(terminal.everything().find("line 30 of many"), std::string::npos);
  terminal.type(" ");
  ASSERT_TRUE(terminal.sees("line 40 of many"));
  terminal.type("q");
  EXPECT_TRUE(terminal.sees("behind the pager: all well\r\n")) << terminal.everything();
  EXPECT_EQ(terminal.wait_for_end(), 0);
}

TEST(Pager, waits_for_nobody_where_it_is_less) {
  PseudoTerminal terminal([] { return show(10); });
  EXPECT_TRUE(terminal.sees("line 9 of many")) << terminal.everything();
  EXPECT_TRUE(terminal.sees("behind the pager: all well\r\n")) << terminal.everything();
  EXPECT_EQ(terminal.wait_for_end(), 0);
}

TEST(Pager, that_is_left_early_ends_neither_its_program_nor_what_comes_behind) {
  PseudoTerminal terminal([] { return show(many) + show(many); });
  for (int times = 0; times < 2; times++) {
    ASSERT_TRUE(terminal.sees("\r\n:"));
    terminal.type("q");
    ASSERT_TRUE(terminal.sees("behind the pager: all well\r\n")) << terminal.everything();
  }
  EXPECT_EQ(terminal.wait_for_end(), 0);
}

// Whatever the operator's environment says: a shell may be all that one is allowed.
TEST(Pager, starts_no_other_program) {
  PseudoTerminal terminal([] {
    setenv("LESSSECURE", "", 1);
    return show(100);
  });
  ASSERT_TRUE(terminal.sees("\r\n:"));
  terminal.type("!");
  ASSERT_TRUE(terminal.sees("not available")) << terminal.everything();
  terminal.type("\rq");
  EXPECT_TRUE(terminal.sees("behind the pager"));
}

// The shell keeps interrupts from itself.
TEST(Pager, is_interrupted_by_the_key) {
  PseudoTerminal terminal([] {
    sigset_t interrupt;
    sigemptyset(&interrupt);
    sigaddset(&interrupt, SIGINT);
    sigprocmask(SIG_BLOCK, &interrupt, nullptr);
    return show(100);
  });
  ASSERT_TRUE(terminal.sees("\r\n:"));
  const std::string status = text_of(child_of(terminal.child()) + "/status");
  EXPECT_NE(status.find("\nSigBlk:\t0000000000000000\n"), std::string::npos) << status;
  terminal.type("q");
  EXPECT_TRUE(terminal.sees("behind the pager"));
}

TEST(Pager, is_none_without_a_terminal) {
  PseudoTerminal terminal([] {
    std::FILE *const elsewhere = std::freopen("/dev/null", "w", stdout);
    return elsewhere != nullptr && !Pager::start() ? 7 : 1;
  });
  EXPECT_EQ(terminal.wait_for_end(), 7);
}

}  // namespace
}  // namespace shell
