// SPDX-License-Identifier: Apache-2.0
#include "shell/grammar.h"

#include <cassert>
#include <charconv>
#include <string>

#include "control/operations.h"
#include "host/transport/transport.h"
#include "schedcli_requests.h"

namespace shell {

namespace {

// A narrower screen cannot be read, and a larger number is a mistake.
constexpr long narrowest_screen = 20, screen_limit = 512;

template <typename Entry, typename Name>
const Entry *look_up(std::span<const Entry> table, Name name, std::string_view wanted) {
  for (const Entry &entry : table) {
    if (entry.*name == wanted) return &entry;
  }
  assert(false && "a word or parameter of the grammar without its entry");
  return nullptr;
}

Term to_term(std::string_view piece) {
  if (piece.front() != '<') return {look_up(words(), &Word::text, piece), nullptr};
  return {nullptr, look_up(parameters(), &Parameter::name, piece.substr(1, piece.size() - 2))};
}

// Appends the terms to each form from `first` on; if they are optional, also keeps each form without them.
void extend(std::vector<Form> *all, size_t first, const std::vector<Term> &terms, bool optional) {
  const size_t last = all->size();
  for (size_t i = first; i < last; i++) {
    if (optional) all->push_back((*all)[i]);
    (*all)[i].terms.insert((*all)[i].terms.end(), terms.begin(), terms.end());
  }
}

void expand(const Command &command, std::vector<Form> *all) {
  const size_t first = all->size();
  all->push_back({&command, {}});
  std::vector<Term> group;
  bool optional = false;
  std::string_view rest = command.syntax;
  while (!rest.empty()) {
    const size_t blank = rest.find(' ');
    std::string_view piece = rest.substr(0, blank);
    rest = blank == std::string_view::npos ? std::string_view() : rest.substr(blank + 1);
    if (piece.front() == '[') {
      optional = true;
      piece.remove_prefix(1);
    }
    const bool closes = piece.back() == ']';
    if (closes) piece.remove_suffix(1);
    group.push_back(to_term(piece));
    if (optional && !closes) continue;
    extend(all, first, group, optional);
    group.clear();
    optional = false;
  }
}

}  // namespace

bool Command::negates() const {
  return std::string_view(syntax).starts_with("no ");
}

bool Command::in_scheduler_tree() const {
  if (mode == Mode::schedule) return true;
  std::string_view text = syntax;
  for (const std::string_view before : {"no ", "show ", "clear ", "edit "}) {
    if (text.starts_with(before)) text.remove_prefix(before.size());
  }
  return text.starts_with("scheduler");
}

const std::vector<Form> &forms() {
  static const std::vector<Form> all = [] {
    std::vector<Form> expanded;
    for (const Command &command : commands())
      expand(command, &expanded);
    return expanded;
  }();
  return all;
}

Range range_of(Kind kind) {
  switch (kind) {
    case Kind::kilobytes:
      return {SCH_LOG_SIZE_MIN / SCH_LOG_SIZE_UNIT, SCH_LOG_SIZE_MAX / SCH_LOG_SIZE_UNIT};
    case Kind::port:
      return {1, 65535};
    case Kind::level:
      return {0, 7};
    case Kind::count:
      return {1, control::query_lines_limit};
    case Kind::lines:
      return {0, screen_limit};
    case Kind::columns:
      return {narrowest_screen, screen_limit};
    case Kind::run:
      return {1, std::numeric_limits<long>::max()};
    default:
      return {0, 0};
  }
}

bool takes(const Parameter &parameter, std::string_view text) {
  if (parameter.kind == Kind::path) return text == "-" || text.find_first_of("/.:") != std::string_view::npos;
  const Range range = range_of(parameter.kind);
  if (range.last == 0) return true;
  long value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  return error == std::errc() && end == text.data() + text.size() && value >= range.first && value <= range.last;
}

}  // namespace shell
