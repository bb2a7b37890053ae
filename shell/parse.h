// SPDX-License-Identifier: Apache-2.0
// Matches a line against the grammar: finds the command that it means, or where and why it is none.
#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "shell/grammar.h"

namespace shell {

struct Argument {
  const Parameter *parameter;
  std::string value;
  size_t offset = 0;  // in the line
};

struct Match {
  const Form *form = nullptr;
  const Command *command = nullptr;  // the form's
  std::vector<Argument> arguments;
  bool has(std::string_view word) const;                       // one of the form's words
  const std::string *value(std::string_view parameter) const;  // null: not given
};

struct Problem {
  enum class Cause { unknown, ambiguous, incomplete, bad_value, too_long, refused } cause = Cause::unknown;
  size_t offset = 0;                  // of the word that does not match, or the line's length
  std::string word;                   // empty when the line is incomplete
  std::vector<std::string> expected;  // in the grammar's order
  std::string reason;                 // why the word is refused; follows the word in the message
};

// The problem of the first invalid value, if any.
std::optional<Problem> objection_in(const Match &match);

// The command without its values: "show running-config", "scheduler logfile size".
std::string words_of(const Match &match);

std::string describe(const Problem &problem);  // one line, with the position counted from 1

// Which commands a line may be, by the session's state.
struct Scope {
  std::vector<Mode> modes;     // tried in this order
  bool scheduler_tree = true;  // false: the feature's commands are not available, except for the one that enables it
};

struct Parsed {
  std::optional<Match> match;
  Problem problem;  // without a match: the rightmost of the modes' problems
};

// Words may be abbreviated as long as they are unambiguous in their mode.
Parsed parse(std::string_view line, const Scope &scope);

struct Choice {
  std::string text;  // a word, <parameter>, or "<end>"
  std::string help;
  bool is_word;
};

// Returns the existing names for a parameter that begin with what is typed.
using NameSource = std::function<std::vector<std::string>(const Parameter &parameter, const std::string &typed)>;

// The possible completions of the line's last word or, after a blank, the possible next words.
std::vector<Choice> choices(std::string_view line, const Scope &scope, const NameSource &names = {});

// For a line without any choice: what is wrong with it.
std::string why_nothing_follows(std::string_view line, const Scope &scope);

// The characters that complete the last word as far as all choices agree, with a blank if there is only one choice.
std::string completion(std::string_view line, const Scope &scope, const NameSource &names = {});

// "do show ..." means the exec mode's "show ...": replaces a leading "do" by blanks, which keeps columns valid.
std::string without_do(std::string_view line);

}  // namespace shell
