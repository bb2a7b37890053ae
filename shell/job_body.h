// SPDX-License-Identifier: Apache-2.0
// The lines between "scheduler job name X" and "end-job".
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "schedcli_requests.h"

namespace shell {

// What the service takes; also a bound on what is kept of endless input.
inline constexpr size_t job_text_limit = SCH_JOB_TEXT_LIMIT;

class JobBody {
 public:
  enum class Close { open, end_job, end };

  // `refused`: the job could not be created; its lines are read past, so that they are not taken for commands.
  JobBody(std::string name, bool refused) : name_(std::move(name)), refused_(refused) {}

  // A line as it stands, but for a carriage return at its end, or the one that closes the body: "end-job", or exactly
  // "end", which also ends the configuration mode, as in the blocks of `show scheduler config`.
  Close add(std::string_view line);

  std::optional<std::string> take_back();  // the last line, if it was kept

  const std::string &name() const { return name_; }
  const std::string &text() const { return text_; }
  bool refused() const { return refused_; }
  const std::string &problem() const { return problem_; }  // why the text cannot be a job's; empty: it can

 private:
  std::string objection_to(std::string_view line) const;

  struct Taken {
    std::string line;
    size_t text_size;  // before it
  };
  std::vector<Taken> taken_;  // to be given back: what the text has, and the line that it cannot have
  std::string name_, text_, problem_;
  size_t lines_ = 0;
  bool refused_;
};

}  // namespace shell
