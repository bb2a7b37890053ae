// SPDX-License-Identifier: Apache-2.0
#include "shell/job_body.h"

namespace shell {

namespace {

std::string_view trimmed(std::string_view line) {
  constexpr std::string_view blanks = " \t\r";
  const size_t first = line.find_first_not_of(blanks);
  if (first == std::string_view::npos) return {};
  return line.substr(first, line.find_last_not_of(blanks) - first + 1);
}

}  // namespace

JobBody::Close JobBody::add(std::string_view line) {
  if (trimmed(line) == "end-job") return Close::end_job;
  if (line == "end") return Close::end;
  if (line.find('\0') != std::string_view::npos) {
    problem_ = "the job's text has a NUL byte";
  } else if (text_.size() + line.size() + 1 > job_text_limit) {
    problem_ = "the job's text is longer than " + std::to_string(job_text_limit) + " bytes";
  } else if (!refused_ && problem_.empty()) {
    text_.append(line) += '\n';
  }
  return Close::open;
}

}  // namespace shell
