// SPDX-License-Identifier: Apache-2.0
#include "shell/job_body.h"

#include "host/visible.h"

namespace shell {

namespace {

std::string_view without_blanks(std::string_view line) {
  constexpr std::string_view blanks = " \t\r";
  const size_t first = line.find_first_not_of(blanks);
  if (first == std::string_view::npos) return {};
  return line.substr(first, line.find_last_not_of(blanks) - first + 1);
}

}  // namespace

// Checked here to name the place, as the service's answer is only a status.
std::string JobBody::objection_to(std::string_view line) const {
  const std::optional<host::ControlCharacter> found = host::find_control(line);
  if (!found) return {};
  return "line " + std::to_string(lines_) + " of the job's text has " + found->shown + " at byte " +
         std::to_string(found->offset + 1) + "; of control characters only tabs and line ends may be in it";
}

std::optional<std::string> JobBody::take_back() {
  if (taken_.empty()) return std::nullopt;
  const Taken last = std::move(taken_.back());
  taken_.pop_back();
  lines_--;
  text_.resize(last.text_size);
  problem_.clear();
  return last.line;
}

JobBody::Close JobBody::add(std::string_view line) {
  if (without_blanks(line) == "end-job") return Close::end_job;
  if (line.ends_with('\r')) line.remove_suffix(1);  // the file has CRLF line ends
  if (line == "end") return Close::end;
  lines_++;
  if (!refused_ && problem_.empty()) taken_.push_back({std::string(line), text_.size()});
  if (line.find('\0') != std::string_view::npos) {
    problem_ = "the job's text has a NUL byte";
  } else if (text_.size() + line.size() + 1 > job_text_limit) {
    problem_ = "the job's text is longer than " + std::to_string(job_text_limit) + " bytes";
  } else if (const std::string objection = objection_to(line); !objection.empty()) {
    if (problem_.empty()) problem_ = objection;
  } else if (!refused_ && problem_.empty()) {
    text_.append(line) += '\n';
  }
  return Close::open;
}

}  // namespace shell
