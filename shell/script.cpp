// SPDX-License-Identifier: Apache-2.0
#include "shell/script.h"

namespace shell {

namespace {

// The bytes of a line that are kept: one more than a job's whole text may have, so that a line that was cut is refused.
constexpr size_t kept_limit = job_text_limit + 1;

bool read_line(FILE *input, std::string *line) {
  line->clear();
  int character = getc_unlocked(input);
  if (character == EOF) return false;
  for (; character != EOF && character != '\n'; character = getc_unlocked(input)) {
    if (line->size() < kept_limit) line->push_back(static_cast<char>(character));
  }
  return true;
}

}  // namespace

void run_script(Session &session, FILE *input, const std::string &name, bool stop_at_failure) {
  std::string line;
  size_t number = 0;
  const auto origin = [&] { return name + ":" + std::to_string(number); };
  while (!session.over() && read_line(input, &line)) {
    number++;
    const int status = session.feed(line, origin());
    wipe(&line);
    if (status != 0 && stop_at_failure) break;
  }
  session.finish(origin());
}

}  // namespace shell
