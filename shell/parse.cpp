// SPDX-License-Identifier: Apache-2.0
#include "shell/parse.h"

#include <algorithm>

#include "shell/values.h"
#include "shell/walk.h"

namespace shell {

namespace {

void add_expected(const std::string &text, std::vector<std::string> *expected) {
  if (std::find(expected->begin(), expected->end(), text) == expected->end()) expected->push_back(text);
}

Problem problem_at(const Walk &walk, const Token &token, Problem::Cause cause) {
  Problem problem{cause, token.offset, token.text, {}, {}};
  for (const Term &term : walk.next()) {
    const bool meant = term.word == nullptr || std::string_view(term.word->text).starts_with(token.text);
    if (cause != Problem::Cause::ambiguous || meant) add_expected(shown(term), &problem.expected);
  }
  if (problem.expected.empty()) problem.cause = Problem::Cause::too_long;
  return problem;
}

Problem incomplete_at(const Walk &walk, size_t end) {
  Problem problem{Problem::Cause::incomplete, end, {}, {}, {}};
  for (const Term &term : walk.next())
    add_expected(shown(term), &problem.expected);
  return problem;
}

Match matched(const Form &form, std::string_view line, const std::vector<Token> &tokens) {
  Match match{&form, form.command, {}};
  for (size_t i = 0; i < form.terms.size(); i++) {
    const Parameter *parameter = form.terms[i].parameter;
    if (parameter == nullptr) continue;
    const bool whole = parameter->kind == Kind::rest;
    match.arguments.push_back(
        {parameter, whole ? std::string(line.substr(tokens[i].offset)) : tokens[i].text, tokens[i].offset});
  }
  return match;
}

Parsed parse_in(Mode mode, std::string_view line, const std::vector<Token> &tokens, bool scheduler_tree) {
  Walk walk(mode, scheduler_tree);
  for (const Token &token : tokens) {
    const Walk before = walk;
    switch (walk.step(token.text)) {
      case Walk::Step::taken:
        break;
      case Walk::Step::unknown:
        return {std::nullopt, problem_at(before, token, Problem::Cause::unknown)};
      case Walk::Step::ambiguous:
        return {std::nullopt, problem_at(before, token, Problem::Cause::ambiguous)};
      case Walk::Step::bad_value:
        return {std::nullopt, problem_at(before, token, Problem::Cause::bad_value)};
    }
  }
  if (const Form *form = walk.complete()) return {matched(*form, line, tokens), {}};
  return {std::nullopt, incomplete_at(walk, line.size())};
}

std::string joined(const std::vector<std::string> &parts) {
  std::string text;
  for (const std::string &part : parts)
    text += (text.empty() ? "" : ", ") + part;
  return text;
}

// For messages about a word that is much too long.
std::string shortened(const std::string &word) {
  constexpr size_t shown_limit = 60;
  return word.size() <= shown_limit ? word : word.substr(0, shown_limit) + "...";
}

}  // namespace

bool Match::has(std::string_view word) const {
  return std::any_of(form->terms.begin(), form->terms.end(),
                     [&](const Term &term) { return term.word != nullptr && term.word->text == word; });
}

std::optional<Problem> objection_in(const Match &match) {
  for (const Argument &argument : match.arguments) {
    std::string reason = objection_to(*match.command, *argument.parameter, argument.value);
    if (!reason.empty())
      return Problem{Problem::Cause::refused, argument.offset, argument.value, {}, std::move(reason)};
  }
  return std::nullopt;
}

std::string words_of(const Match &match) {
  std::string text;
  for (const Term &term : match.form->terms) {
    if (term.word == nullptr) break;
    text += (text.empty() ? "" : " ") + std::string(term.word->text);
  }
  return text;
}

const std::string *Match::value(std::string_view parameter) const {
  for (const Argument &argument : arguments) {
    if (argument.parameter->name == parameter) return &argument.value;
  }
  return nullptr;
}

std::string without_do(std::string_view line) {
  std::string rest(line);
  const std::vector<Token> tokens = split_words(line);
  if (tokens.size() > 1 && tokens.front().text == "do") rest.replace(tokens.front().offset, 2, "  ");
  return rest;
}

std::string describe(const Problem &problem) {
  const std::string where = " at column " + std::to_string(problem.offset + 1);
  const std::string quoted = "\"" + shortened(problem.word) + "\"";
  const std::string expected = joined(problem.expected);
  switch (problem.cause) {
    case Problem::Cause::unknown:
      return quoted + where + " is not known here; expected: " + expected;
    case Problem::Cause::ambiguous:
      return quoted + where + " may mean: " + expected;
    case Problem::Cause::incomplete:
      return "the command is incomplete" + where + "; expected: " + expected;
    case Problem::Cause::bad_value:
      return quoted + where + " is out of range; expected: " + expected;
    case Problem::Cause::too_long:
      return quoted + where + " is too much: the command ends before it";
    case Problem::Cause::refused:
      return quoted + where + " " + problem.reason;
  }
  return {};
}

Parsed parse(std::string_view line, const Scope &scope) {
  const std::vector<Token> tokens = split_words(line);
  std::optional<Parsed> best;
  for (const Mode mode : scope.modes) {
    Parsed parsed = parse_in(mode, line, tokens, scope.scheduler_tree);
    if (parsed.match) return parsed;
    if (!best || parsed.problem.offset > best->problem.offset) {
      best = std::move(parsed);
    } else if (parsed.problem.offset == best->problem.offset && parsed.problem.cause == best->problem.cause) {
      for (const std::string &text : parsed.problem.expected)
        add_expected(text, &best->problem.expected);
    }
  }
  return best.value_or(Parsed{});
}

}  // namespace shell
