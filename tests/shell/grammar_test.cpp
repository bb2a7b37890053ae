// SPDX-License-Identifier: Apache-2.0
#include "shell/grammar.h"

#include <gtest/gtest.h>

#include <set>
#include <string>

#include "shell/parse.h"
#include "shell/walk.h"

namespace shell {
namespace {

// A line that uses the form: its words, and a value for each parameter.
std::string line_of(const Form &form) {
  std::string line;
  for (const Term &term : form.terms) {
    const bool numeric = term.parameter != nullptr && range_of(term.parameter->kind).last != 0;
    const bool is_path = term.parameter != nullptr && term.parameter->kind == Kind::path;
    const std::string value = numeric   ? std::to_string(std::max(5L, range_of(term.parameter->kind).first))
                              : is_path ? "./value"
                                        : "value";
    line += (line.empty() ? "" : " ") + (term.word != nullptr ? std::string(term.word->text) : value);
  }
  return line;
}

TEST(grammar, every_form_of_every_command_is_understood_as_that_command) {
  for (const Form &form : forms()) {
    const std::string line = line_of(form);
    const Parsed parsed = parse(line, {{form.command->mode}, true});
    ASSERT_TRUE(parsed.match) << line << ": " << describe(parsed.problem);
    EXPECT_STREQ(parsed.match->command->syntax, form.command->syntax) << line;
  }
}

TEST(grammar, every_command_has_an_action_and_its_help) {
  for (const Command &command : commands()) {
    EXPECT_NE(command.action, nullptr) << command.syntax;
    EXPECT_FALSE(std::string(command.help).empty()) << command.syntax;
  }
}

TEST(grammar, every_word_and_parameter_of_the_tables_is_in_use) {
  std::set<std::string> used;
  for (const Form &form : forms()) {
    for (const Term &term : form.terms)
      used.insert(term.word != nullptr ? term.word->text : term.parameter->name);
  }
  for (const Word &word : words())
    EXPECT_TRUE(used.contains(word.text)) << word.text;
  for (const Parameter &parameter : parameters())
    EXPECT_TRUE(used.contains(parameter.name)) << parameter.name;
}

TEST(grammar, no_two_commands_of_a_mode_have_the_same_form) {
  std::set<std::string> seen;
  for (const Form &form : forms()) {
    std::string text = std::to_string(static_cast<int>(form.command->mode));
    for (const Term &term : form.terms)
      text += " " + shown(term);
    EXPECT_TRUE(seen.insert(text).second) << text;
  }
}

TEST(grammar, optional_groups_give_every_combination) {
  std::set<std::string> lines;
  for (const Form &form : forms()) {
    if (std::string(form.command->syntax).starts_with("scheduler transport email smtp-server")) {
      lines.insert(line_of(form));
    }
  }
  const std::string base = "scheduler transport email smtp-server value";
  EXPECT_EQ(lines, (std::set<std::string>{base, base + " port 5", base + " vrf value", base + " port 5 vrf value"}));
}

struct RangeCase {
  const char *line;
  bool accepted;
};

// Both sides of every range.
const RangeCase range_cases[] = {
    {"scheduler logfile size 0", false},
    {"scheduler logfile size 1", true},
    {"scheduler logfile size 16384", true},
    {"scheduler logfile size 16385", false},
    {"scheduler logfile size 1k", false},
    {"scheduler logfile size -1", false},
    {"scheduler logfile size 99999999999999999999", false},
    {"logging level scheduler 0", true},
    {"logging level scheduler 7", true},
    {"logging level scheduler 8", false},
    {"logging level scheduler -1", false},
    {"scheduler transport email smtp-server h port 0", false},
    {"scheduler transport email smtp-server h port 1", true},
    {"scheduler transport email smtp-server h port 65535", true},
    {"scheduler transport email smtp-server h port 65536", false},
};

TEST(grammar, numbers_are_taken_within_their_ranges_alone) {
  for (const RangeCase &range : range_cases) {
    const Parsed parsed = parse(range.line, {{Mode::config}, true});
    EXPECT_EQ(parsed.match.has_value(), range.accepted) << range.line;
    if (!range.accepted) {
      EXPECT_EQ(parsed.problem.cause, Problem::Cause::bad_value) << range.line;
    }
  }
}

}  // namespace
}  // namespace shell
