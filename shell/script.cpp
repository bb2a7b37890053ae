// SPDX-License-Identifier: Apache-2.0
#include "shell/script.h"

#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace shell {

namespace {

// The bytes of a line that are kept: one more than a job's whole text may have, so that a line that was cut is refused.
constexpr size_t kept_limit = job_text_limit + 1;

// Far longer than any line of a file of commands: such input has no newlines, and may never end.
constexpr size_t endless_line = 16 << 20;

// Opening a directory succeeds: only the first read tells.
bool is_device(int descriptor) {
  struct stat status {};
  if (fstat(descriptor, &status) != 0) return false;
  const bool is_null = S_ISCHR(status.st_mode) && status.st_rdev == makedev(1, 3);
  return S_ISBLK(status.st_mode) || (S_ISCHR(status.st_mode) && !is_null && isatty(descriptor) == 0);
}

class InputLines {
 public:
  explicit InputLines(FILE *input) : input_(input) {
    if (is_device(fileno(input))) problem_ = "is a device, no file";
  }

  bool next(std::string *line) {
    line->clear();
    if (!problem_.empty()) return false;
    size_t length = 0;
    int character = getc_unlocked(input_);
    const bool read = character != EOF;
    for (; character != EOF && character != '\n' && length < endless_line; character = getc_unlocked(input_)) {
      if (length++ < kept_limit) line->push_back(static_cast<char>(character));
    }
    if (length == endless_line) problem_ = "a line does not end";
    if (std::ferror(input_) != 0) problem_ = std::strerror(errno);
    return read && problem_.empty();
  }

  const std::string &problem() const { return problem_; }  // why there is no next one; empty: the input has ended

 private:
  FILE *input_;
  std::string problem_;
};

}  // namespace

void run_script(Session &session, FILE *input, const std::string &name, bool stop_at_failure) {
  InputLines lines(input);
  std::string line;
  size_t number = 0;
  const auto origin = [&] { return name + ":" + std::to_string(number); };
  while (!session.over() && lines.next(&line)) {
    number++;
    const int status = session.feed(line, origin());
    wipe(&line);
    if (status != 0 && stop_at_failure) break;
  }
  if (!lines.problem().empty()) session.give_up(name, lines.problem());
  session.finish(origin());
}

}  // namespace shell
