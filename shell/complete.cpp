// SPDX-License-Identifier: Apache-2.0
#include <algorithm>

#include "shell/parse.h"
#include "shell/pipes.h"
#include "shell/walk.h"

namespace shell {

namespace {

constexpr const char *end_of_line = "<end>";

bool ends_in_blank(std::string_view line) {
  return line.empty() || line.back() == ' ' || line.back() == '\t';
}

void add(Choice choice, std::vector<Choice> *all) {
  const bool known =
      std::any_of(all->begin(), all->end(), [&](const Choice &seen) { return seen.text == choice.text; });
  if (!known) all->push_back(std::move(choice));
}

// The help of the command if the word leads to only one command, otherwise the word's.
std::string help_of(const Term &term, const Walk &walk) {
  if (term.parameter != nullptr) return term.parameter->help;
  Walk after = walk;
  after.step(term.word->text);
  const Form *form = after.complete();
  return form != nullptr && after.next().empty() ? form->command->help : term.word->help;
}

void add_names(const Term &term, const std::string &typed, const NameSource &names, std::vector<Choice> *all) {
  if (term.parameter == nullptr || !names) return;
  for (const std::string &name : names(*term.parameter, typed))
    add({name, std::string("<") + term.parameter->name + ">", true}, all);
}

void add_choices(const Walk &walk, const std::string &typed, const NameSource &names, std::vector<Choice> *all) {
  for (const Term &term : walk.next()) {
    const bool is_word = term.word != nullptr;
    if (is_word && !std::string_view(term.word->text).starts_with(typed)) continue;
    add({shown(term), help_of(term, walk), is_word}, all);
    add_names(term, typed, names, all);
  }
  if (typed.empty() && walk.complete() != nullptr) add({end_of_line, walk.complete()->command->help, false}, all);
}

}  // namespace

std::vector<Choice> choices(std::string_view typed_line, const Scope &scope, const NameSource &names) {
  if (find_pipe(typed_line) != std::string_view::npos) return filter_choices(typed_line);
  const std::string line = without_do(typed_line);
  std::vector<Token> tokens = split_words(line);
  std::string typed;
  if (!ends_in_blank(line) && !tokens.empty()) {
    typed = tokens.back().text;
    tokens.pop_back();
  }
  std::vector<Choice> all;
  for (const Mode mode : scope.modes) {
    Walk walk(mode, scope.scheduler_tree);
    const bool walked = std::all_of(tokens.begin(), tokens.end(),
                                    [&](const Token &token) { return walk.step(token.text) == Walk::Step::taken; });
    if (walked) add_choices(walk, typed, names, &all);
  }
  return all;
}

std::string completion(std::string_view line, const Scope &scope, const NameSource &names) {
  std::vector<Choice> all = choices(line, scope, names);
  // Where existing names complete a parameter, its placeholder is not offered as well.
  const auto is_named = [&](const Choice &choice) {
    return std::any_of(all.begin(), all.end(), [&](const Choice &name) { return name.help == choice.text; });
  };
  const auto stands_for_names = std::remove_if(all.begin(), all.end(), [&](const Choice &choice) {
    return !choice.is_word && choice.text != end_of_line && is_named(choice);
  });
  all.erase(stands_for_names, all.end());
  const bool only_words = std::all_of(all.begin(), all.end(), [](const Choice &choice) { return choice.is_word; });
  if (all.empty() || !only_words) return {};
  std::string common = all.front().text;
  for (const Choice &choice : all) {
    const auto [here, there] = std::mismatch(common.begin(), common.end(), choice.text.begin(), choice.text.end());
    common.erase(here, common.end());
  }
  const std::vector<Token> tokens = split_words(line);
  // A quoted word cannot be completed: what is appended would not be part of it.
  if (!ends_in_blank(line) && !tokens.empty() && line[tokens.back().offset] == '"') return {};
  const size_t typed = ends_in_blank(line) || tokens.empty() ? 0 : tokens.back().text.size();
  if (common.size() < typed) return {};
  return common.substr(typed) + (all.size() == 1 ? " " : "");
}

std::string why_nothing_follows(std::string_view line, const Scope &scope) {
  const Parsed parsed = parse(without_do(line), scope);
  return parsed.match ? "nothing may follow" : describe(parsed.problem);
}

}  // namespace shell
