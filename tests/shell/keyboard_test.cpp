// SPDX-License-Identifier: Apache-2.0
// Questions to a person at a terminal. What the child finds afterwards is its exit status.
#include "shell/keyboard.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <termios.h>
#include <unistd.h>

#include <clocale>
#include <cstdio>
#include <cstdlib>

#include "tests/shell/pseudo_terminal.h"

namespace shell {
namespace {

constexpr const char *control_c = "\x03", *control_d = "\x04";

void say(const char *line) {
  std::puts(line);
  std::fflush(stdout);
}

termios settings_now() {
  termios settings{};
  tcgetattr(STDIN_FILENO, &settings);
  return settings;
}

bool same(const termios &a, const termios &b) {
  return a.c_lflag == b.c_lflag && a.c_iflag == b.c_iflag;
}

bool interrupts_end_the_program() {
  struct sigaction action {};
  sigset_t mask;
  sigaction(SIGINT, nullptr, &action);
  sigprocmask(SIG_BLOCK, nullptr, &mask);
  return action.sa_handler == SIG_DFL && sigismember(&mask, SIGINT) == 0;
}

// Asks, shows the answer, and 7: everything is as it was.
int ask() {
  const termios before = settings_now();
  const std::optional<std::string> secret = ask_without_echo("Password: ");
  const bool as_before = same(before, settings_now()) && interrupts_end_the_program() && !Interrupts::take();
  std::printf("answer: %s.\n", secret ? secret->c_str() : "none");
  return as_before ? 7 : 1;
}

TEST(Password, is_asked_for_without_showing_it_and_leaves_the_terminal_as_it_was) {
  PseudoTerminal terminal(ask);
  ASSERT_TRUE(terminal.sees("Password: "));
  ASSERT_TRUE(terminal.waits_without_echo());
  terminal.type("two words\r");
  ASSERT_TRUE(terminal.sees("\r\nanswer: two words.")) << terminal.everything();
  EXPECT_EQ(terminal.everything().substr(0, 12), "Password: \r\n") << "the line end alone is shown";
  EXPECT_EQ(terminal.wait_for_end(), 7);
}

TEST(Password, that_is_given_up_leaves_the_terminal_as_it_was) {
  for (const char *key : {control_c, control_d}) {
    PseudoTerminal terminal(ask);
    ASSERT_TRUE(terminal.waits_without_echo());
    terminal.type(key);
    ASSERT_TRUE(terminal.sees("answer: none."));
    EXPECT_EQ(terminal.wait_for_end(), 7);
  }
}

TEST(Password, is_a_line_whatever_the_line_editor_has_set) {
  PseudoTerminal terminal([] {
    termios keys = settings_now();
    keys.c_lflag &= ~static_cast<tcflag_t>(ICANON);
    keys.c_iflag &= ~static_cast<tcflag_t>(ICRNL);
    tcsetattr(STDIN_FILENO, TCSANOW, &keys);
    return ask();
  });
  ASSERT_TRUE(terminal.waits_without_echo());
  terminal.type("wrong\x15right\r");  // the whole line is deleted
  EXPECT_TRUE(terminal.sees("answer: right.")) << terminal.everything();
  EXPECT_EQ(terminal.wait_for_end(), 7);
}

TEST(Password, is_not_what_was_typed_before_the_question) {
  PseudoTerminal terminal([] {
    say("wait");
    pollfd input{STDIN_FILENO, POLLIN, 0};
    poll(&input, 1, -1);
    return ask();
  });
  ASSERT_TRUE(terminal.sees("wait"));
  terminal.type("early\n");
  ASSERT_TRUE(terminal.waits_without_echo());
  terminal.type("secret\n");
  EXPECT_TRUE(terminal.sees("answer: secret.")) << terminal.everything();
}

TEST(Password, is_asked_for_where_it_is_seen_though_the_output_goes_elsewhere) {
  PseudoTerminal terminal([] {
    if (std::freopen("/dev/null", "w", stdout) == nullptr) return 1;
    return ask();
  });
  EXPECT_TRUE(terminal.sees("Password: "));
}

void tell(int) {
  (void)!write(STDOUT_FILENO, "told", 4);
}

// A resized window is a signal too.
TEST(Password, is_awaited_through_signals_that_are_no_interrupt) {
  PseudoTerminal terminal([] {
    struct sigaction action {};
    action.sa_handler = tell;
    sigaction(SIGUSR1, &action, nullptr);
    return ask();
  });
  ASSERT_TRUE(terminal.waits_without_echo());
  kill(terminal.child(), SIGUSR1);
  ASSERT_TRUE(terminal.sees("told"));
  terminal.type("secret\n");
  EXPECT_TRUE(terminal.sees("answer: secret.")) << terminal.everything();
}

struct Answer {
  const char *typed;
  bool agreed;
};

const Answer answers[] = {{"y\r", true},  {"yes\r", true}, {"\r", false},      {"n\r", false},    {"no\r", false},
                          {"Y\r", false}, {"ye\r", false}, {control_c, false}, {control_d, false}};

TEST(agrees, to_nothing_but_yes) {
  for (const Answer &answer : answers) {
    PseudoTerminal terminal([] {
      const bool agreed = agrees("Really? ");
      std::printf("behind\n");
      return interrupts_end_the_program() && !Interrupts::take() ? agreed : 2;
    });
    ASSERT_TRUE(terminal.sees("Really? "));
    terminal.type(answer.typed);
    ASSERT_TRUE(terminal.sees("\r\nbehind")) << terminal.everything();
    EXPECT_EQ(terminal.wait_for_end(), answer.agreed ? 1 : 0) << answer.typed;
  }
}

struct Keys {
  const char *typed, *read;
};

const Keys keys[] = {
    {"a", "61"},
    {"\xc3\xa4", "e4"},
    {"\xe2\x82\xac", "20ac"},
    {"\xffz", "7a"},       // no character
    {"\xc3x\xa4z", "7a"},  // the two bytes of one with another between
    {"\xc3\xc3\xa4z", "7a"},
};

TEST(read_character, puts_bytes_together_and_skips_what_is_none) {
  for (const Keys &row : keys) {
    PseudoTerminal terminal([] {
      std::setlocale(LC_CTYPE, "C.UTF-8");
      wchar_t character = 0;
      say("type");
      if (read_character(&character)) std::printf("read: %x.\n", static_cast<unsigned>(character));
      return 0;
    });
    ASSERT_TRUE(terminal.sees("type"));
    terminal.type(std::string(row.typed) + "\n");
    EXPECT_TRUE(terminal.sees(std::string("read: ") + row.read + ".")) << terminal.everything();
  }
}

TEST(Interrupts, are_told_once) {
  PseudoTerminal terminal([] {
    const Interrupts interrupts;
    say("type");
    wchar_t character = 0;
    const bool read = read_character(&character);
    const bool first = Interrupts::take();
    return !read && first && !Interrupts::take() ? 7 : 1;
  });
  ASSERT_TRUE(terminal.sees("type"));
  terminal.type(control_c);
  EXPECT_EQ(terminal.wait_for_end(), 7);
}

}  // namespace
}  // namespace shell
