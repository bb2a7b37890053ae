// SPDX-License-Identifier: Apache-2.0
#include "shell/pipes.h"

#include <regex.h>

#include <algorithm>
#include <memory>

#include "shell/words.h"

namespace shell {

namespace {

constexpr std::string_view block_start = "scheduler ", job_block_start = "scheduler job name ", job_end = "end-job";

struct FilterWord {
  const char *word;
  Filter::Kind kind;
  const char *argument;  // null: it takes none
  const char *help;
};

constexpr FilterWord filter_words[] = {
    {"include", Filter::Kind::include, "<pattern>", "Lines that match alone"},
    {"exclude", Filter::Kind::exclude, "<pattern>", "Lines that do not match alone"},
    {"begin", Filter::Kind::begin, "<pattern>", "From the first line that matches on"},
    {"section", Filter::Kind::section, "<pattern>", "Blocks whose first line matches"},
    {"count", Filter::Kind::count, nullptr, "How many lines it is"},
    {"no-more", Filter::Kind::no_more, nullptr, "Without stopping at each screen"},
    {"save", Filter::Kind::save, "<file>", "Into a file"},
    {"json", Filter::Kind::json, nullptr, "As data, for machines"},
};

class Pattern {
 public:
  explicit Pattern(const std::string &text)
      : compiled_(regcomp(&expression_, text.c_str(), REG_EXTENDED | REG_NOSUB) == 0) {}
  ~Pattern() {
    if (compiled_) regfree(&expression_);
  }
  Pattern(const Pattern &) = delete;
  Pattern &operator=(const Pattern &) = delete;

  bool compiled() const { return compiled_; }
  bool matches(const std::string &line) const { return regexec(&expression_, line.c_str(), 0, nullptr, 0) == 0; }

 private:
  regex_t expression_;
  bool compiled_;
};

std::vector<const FilterWord *> meant_by(std::string_view word) {
  std::vector<const FilterWord *> meant;
  for (const FilterWord &filter : filter_words) {
    if (word == filter.word) return {&filter};
    if (std::string_view(filter.word).starts_with(word)) meant.push_back(&filter);
  }
  return meant;
}

Problem problem_at(size_t offset, std::string word, Problem::Cause cause) {
  Problem problem{cause, offset, std::move(word), {}, {}};
  for (const FilterWord &filter : filter_words)
    problem.expected.emplace_back(filter.word);
  return problem;
}

// Parses one filter, such as "include up". Its '|' is at `offset` - 1 of the line.
std::optional<Problem> take_filter(std::string_view text, size_t offset, std::vector<Filter> *filters) {
  const std::vector<Token> tokens = split_words(text);
  if (tokens.empty()) return problem_at(offset + text.size(), "", Problem::Cause::incomplete);
  const Token &word = tokens.front();
  const std::vector<const FilterWord *> meant = meant_by(word.text);
  if (meant.size() != 1) return problem_at(offset + word.offset, word.text, Problem::Cause::unknown);
  const FilterWord &filter = *meant.front();
  const size_t wanted = filter.argument == nullptr ? 1 : 2;
  if (tokens.size() < wanted)
    return Problem{Problem::Cause::incomplete, offset + text.size(), {}, {filter.argument}, {}};
  if (tokens.size() > wanted)
    return Problem{Problem::Cause::too_long, offset + tokens[wanted].offset, tokens[wanted].text, {}, {}};
  const std::string argument = wanted == 2 ? tokens[1].text : "";
  if (wanted == 2 && filter.kind != Filter::Kind::save && !Pattern(argument).compiled())
    return Problem{Problem::Cause::refused, offset + tokens[1].offset, argument, {}, "is no pattern"};
  if (filter.kind == Filter::Kind::json && !filters->empty())
    return Problem{Problem::Cause::refused, offset + word.offset, word.text, {}, "can only come first"};
  filters->push_back({filter.kind, argument});
  return std::nullopt;
}

size_t find_bar(std::string_view line, size_t from) {
  bool quoted = false;
  for (size_t at = from; at < line.size(); at++) {
    if (line[at] == '"') quoted = !quoted;
    if (line[at] == '|' && !quoted) return at;
  }
  return std::string_view::npos;
}

bool is_show(std::string_view line) {
  const std::vector<Token> tokens = split_words(line);
  const size_t first = !tokens.empty() && tokens.front().text == "do" ? 1 : 0;
  return tokens.size() > first && tokens[first].text.size() >= 2 &&
         std::string_view("show").starts_with(tokens[first].text);
}

using TextLines = std::vector<std::string>;

TextLines text_lines_of(const std::string &text) {
  TextLines lines;
  for (size_t begin = 0; begin < text.size();) {
    const size_t end = std::min(text.find('\n', begin), text.size());
    lines.push_back(text.substr(begin, end - begin));
    begin = end + 1;
  }
  return lines;
}

// The blocks whose first line matches. A block ends at an empty line or before the next block; a job's block at
// "end-job", whatever its lines look like.
TextLines sections(const TextLines &lines, const Pattern &pattern) {
  TextLines kept;
  bool in_job = false, in_block = false, wanted = false;
  for (const std::string &line : lines) {
    if (!in_job && (!in_block || line.starts_with(block_start))) wanted = pattern.matches(line);
    if (wanted) kept.push_back(line);
    if (in_job) {
      in_job = line != job_end;
      in_block = false;
      continue;
    }
    in_job = line.starts_with(job_block_start);
    in_block = !line.empty() && !in_job;
  }
  return kept;
}

TextLines applied(const TextLines &lines, const Filter &filter) {
  TextLines kept;
  if (filter.kind == Filter::Kind::count) return {std::to_string(lines.size())};
  if (filter.kind == Filter::Kind::no_more || filter.kind == Filter::Kind::save || filter.kind == Filter::Kind::json)
    return lines;
  const Pattern pattern(filter.argument);
  const auto matches = [&](const std::string &line) { return pattern.matches(line); };
  switch (filter.kind) {
    case Filter::Kind::include:
      std::copy_if(lines.begin(), lines.end(), std::back_inserter(kept), matches);
      break;
    case Filter::Kind::exclude:
      std::remove_copy_if(lines.begin(), lines.end(), std::back_inserter(kept), matches);
      break;
    case Filter::Kind::begin:
      kept.assign(std::find_if(lines.begin(), lines.end(), matches), lines.end());
      break;
    default:
      kept = sections(lines, pattern);
  }
  return kept;
}

}  // namespace

size_t find_pipe(std::string_view line) {
  return is_show(line) ? find_bar(line, 0) : std::string_view::npos;
}

Piped split_pipes(std::string_view line) {
  Piped piped{line, {}, std::nullopt};
  size_t bar = find_pipe(line);
  if (bar == std::string_view::npos) return piped;
  piped.command = line.substr(0, bar);
  while (bar != std::string_view::npos && !piped.problem) {
    const size_t next = find_bar(line, bar + 1);
    piped.problem =
        take_filter(line.substr(bar + 1, next == line.npos ? next : next - bar - 1), bar + 1, &piped.filters);
    bar = next;
  }
  return piped;
}

std::vector<Choice> filter_choices(std::string_view line) {
  const std::string_view last = line.substr(line.rfind('|') + 1);
  const std::vector<Token> tokens = split_words(last);
  const bool blank = last.empty() || last.back() == ' ' || last.back() == '\t';
  std::vector<Choice> all;
  if (tokens.empty() || (tokens.size() == 1 && !blank)) {
    for (const FilterWord *filter : meant_by(tokens.empty() ? "" : tokens.front().text))
      all.push_back({filter->word, filter->help, true});
    return all;
  }
  const std::vector<const FilterWord *> meant = meant_by(tokens.front().text);
  if (meant.size() != 1) return all;
  const bool awaits = meant.front()->argument != nullptr && tokens.size() == (blank ? 1u : 2u);
  all.push_back({awaits ? meant.front()->argument : "<end>", meant.front()->help, false});
  return all;
}

std::string filtered(const std::string &text, const std::vector<Filter> &filters) {
  TextLines lines = text_lines_of(text);
  for (const Filter &filter : filters)
    lines = applied(lines, filter);
  std::string kept;
  for (const std::string &line : lines)
    kept += line + "\n";
  return kept;
}

}  // namespace shell
