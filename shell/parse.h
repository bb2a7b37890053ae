// SPDX-License-Identifier: Apache-2.0
// A line against the grammar: the command it means, or where and why it means none.
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
  size_t offset = 0;                  // of the word that stops, or the line's length
  std::string word;                   // empty when the line is incomplete
  std::vector<std::string> expected;  // in the grammar's order
  std::string reason;                 // why the word is refused, to follow it
};

// The first of its values that cannot be, where there is one.
std::optional<Problem> objection_in(const Match &match);

// The command without its values: "show running-config", "scheduler logfile size".
std::string words_of(const Match &match);

std::string describe(const Problem &problem);  // one line, with the position counted from 1

// What the session's state lets a line mean: the modes in the order in which they are asked.
struct Scope {
  std::vector<Mode> modes;
  bool scheduler_tree = true;  // false: its commands are gone, but for the one that brings them back
};

struct Parsed {
  std::optional<Match> match;
  Problem problem;  // where there is no match: the one that lies farthest to the right
};

// Words may be abbreviated as long as one word of a mode is meant.
Parsed parse(std::string_view line, const Scope &scope);

struct Choice {
  std::string text;  // a word, <parameter>, or "<end>"
  std::string help;
  bool is_word;
};

// Names that there are for a parameter, as far as one is typed.
using NameSource = std::function<std::vector<std::string>(const Parameter &parameter, const std::string &typed)>;

// What may stand at the end of `line`: its last word as far as it is typed, or the next one after a blank.
std::vector<Choice> choices(std::string_view line, const Scope &scope, const NameSource &names = {});

// What completes the last word as far as all choices agree; adds a blank when there is only one. Empty: nothing.
std::string completion(std::string_view line, const Scope &scope, const NameSource &names = {});

// "do show ..." is "show ..." of the first mode: the line with blanks in the place of "do", or as it is.
std::string without_do(std::string_view line);

}  // namespace shell
