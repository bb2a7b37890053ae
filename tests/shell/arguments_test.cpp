// SPDX-License-Identifier: Apache-2.0
#include "shell/arguments.h"

#include <gmock/gmock.h>

namespace shell {
namespace {

using control::Parsed;
using testing::ElementsAre;

class ArgumentsOf : public testing::Test {
 protected:
  Parsed parse(std::vector<std::string> line) {
    words = std::move(line);
    std::vector<char *> pointers;
    for (std::string &word : words)
      pointers.push_back(word.data());
    pointers.push_back(nullptr);
    arguments = {};
    testing::internal::CaptureStderr();
    const Parsed parsed = parse_arguments(static_cast<int>(words.size()), pointers.data(), &arguments);
    err = testing::internal::GetCapturedStderr();
    return parsed;
  }

  std::vector<std::string> words;
  Arguments arguments;
  std::string err;
};

TEST_F(ArgumentsOf, nothing_are_nothing) {
  EXPECT_EQ(parse({"schedsh"}), Parsed::run);
  EXPECT_TRUE(arguments.commands.empty());
  EXPECT_FALSE(arguments.file);
  EXPECT_FALSE(arguments.state_dir);
  EXPECT_FALSE(arguments.stop_at_failure || arguments.debug || arguments.manual);
}

TEST_F(ArgumentsOf, each_option_are_that_option_alone) {
  EXPECT_EQ(parse({"schedsh", "--debug"}), Parsed::run);
  EXPECT_TRUE(arguments.debug && !arguments.manual && !arguments.stop_at_failure);
  EXPECT_EQ(parse({"schedsh", "--manual"}), Parsed::run);
  EXPECT_TRUE(arguments.manual && !arguments.debug && !arguments.stop_at_failure);
  EXPECT_EQ(parse({"schedsh", "--stop-at-failure"}), Parsed::run);
  EXPECT_TRUE(arguments.stop_at_failure && !arguments.debug && !arguments.manual);
  EXPECT_EQ(parse({"schedsh", "--state-dir", "/there", "file"}), Parsed::run);
  EXPECT_EQ(arguments.state_dir, "/there");
  EXPECT_EQ(arguments.file, "file");
}

TEST_F(ArgumentsOf, commands_are_these_in_their_order) {
  EXPECT_EQ(parse({"schedsh", "-cone", "-c", "-two", "-ec", "three", "--command=four", "-eecfive"}), Parsed::run);
  EXPECT_THAT(arguments.commands, ElementsAre("one", "-two", "three", "four", "five"));
  EXPECT_TRUE(arguments.stop_at_failure);
  EXPECT_EQ(parse({"-cx", "file"}), Parsed::run) << "the name of a program is no option";
  EXPECT_EQ(arguments.file, "file");
  EXPECT_TRUE(arguments.commands.empty());
  EXPECT_EQ(parse({"schedsh", "--", "-cx"}), Parsed::run);
  EXPECT_EQ(arguments.file, "-cx");
}

TEST_F(ArgumentsOf, wrong_kinds_are_refused_and_mean_nothing) {
  const std::pair<std::vector<std::string>, std::string> rows[] = {
      {{"schedsh", "--debug", "one", "two"}, "more than one file is named"},
      {{"schedsh", "-e", "-c"}, "Missing argument for -c"},
      {{"schedsh", "-c", "x", "file"}, "commands come from a file or from -c, not from both"},
      {{"schedsh", "-ex"}, "Unknown option -ex"},
      {{"schedsh", "-x"}, "Unknown option -x"},
  };
  for (const auto &[line, why] : rows) {
    EXPECT_EQ(parse(line), Parsed::wrong) << why;
    EXPECT_EQ(err, "schedsh: " + why + "; see schedsh --help\n");
  }
  Arguments none;
  EXPECT_FALSE(none.stop_at_failure || none.debug || none.manual);
}

TEST_F(ArgumentsOf, a_command_with_a_password_are_overwritten) {
  const std::string secret = "scheduler aaa-authentication password secret";
  EXPECT_EQ(parse({"schedsh", "-c", secret, "-c" + secret, "--command=" + secret, "-c", "show scheduler job"}),
            Parsed::run);
  const std::string x(secret.size(), 'x');
  EXPECT_THAT(words, ElementsAre("schedsh", "-c", x, "-c" + x, "--command=" + x, "-c", "show scheduler job"));
  EXPECT_THAT(arguments.commands, ElementsAre(secret, secret, secret, "show scheduler job"));
  EXPECT_EQ(parse({"pass", "-c", "pass"}), Parsed::run);
  EXPECT_THAT(words, ElementsAre("pass", "-c", "xxxx"));
}

}  // namespace
}  // namespace shell
