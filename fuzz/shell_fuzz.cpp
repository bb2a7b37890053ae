// SPDX-License-Identifier: Apache-2.0
// Lines as an operator types them, whole or not: matched, completed, explained; filters; the lines of a job; moments.
// Input: the mode (one byte), then lines.
#include <vector>

#include "fuzz/input.h"
#include "host/visible.h"
#include "shell/job_body.h"
#include "shell/moment.h"
#include "shell/parse.h"
#include "shell/pipes.h"
#include "shell/time_text.h"
#include "shell/words.h"

namespace {

using shell::Mode;

void check_problem(const shell::Problem &problem, std::string_view line) {
  fuzz::require(problem.offset <= line.size(), "a problem is in the line");
  shell::describe(problem);
}

void check_command(const std::string &line, const shell::Scope &scope) {
  const shell::Parsed parsed = shell::parse(line, scope);
  shell::completion(line, scope);
  if (shell::choices(line, scope).empty()) shell::why_nothing_follows(line, scope);
  if (!parsed.match) return check_problem(parsed.problem, line);
  const std::string words = shell::words_of(*parsed.match);
  if (const auto problem = shell::objection_in(*parsed.match)) check_problem(*problem, line);
  if (words.starts_with("time ")) (void)shell::time_text(words, *parsed.match);
}

void check_pipes(const std::string &line) {
  constexpr size_t pattern_limit = 32;  // of the C library's expressions, which take memory as they like
  const shell::Piped piped = shell::split_pipes(line);
  shell::filter_choices(line);
  if (piped.problem) return check_problem(*piped.problem, line);
  for (const shell::Filter &filter : piped.filters)
    if (filter.argument.size() > pattern_limit || filter.argument.find('{') != filter.argument.npos) return;
  shell::filtered("one\n two\nthree\n", piped.filters);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  fuzz::Input input(data, size);
  const uint8_t mode = input.byte();
  const shell::Scope scope = {{static_cast<Mode>(mode % 3), Mode::exec}, (mode & 0x80) == 0};
  shell::JobBody body("name", false);
  while (!input.empty()) {
    const std::string rest = input.rest();
    for (size_t at = 0; at <= rest.size();) {
      const size_t end = std::min(rest.find('\n', at), rest.size());
      const std::string line = shell::without_do(rest.substr(at, end - at));
      at = end + 1;
      for (const shell::Token &token : shell::split_words(line))
        fuzz::require(token.offset < line.size(), "a word is in the line");
      check_command(line, scope);
      check_pipes(line);
      shell::moment_of(line, 1795262400);
      if (body.add(line) != shell::JobBody::Close::open) body = shell::JobBody("name", false);
    }
  }
  fuzz::require(body.text().size() <= shell::job_text_limit, "a job's text is within its limit");
  return 0;
}
