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

// The service's limit, which also bounds what is kept of endless input.
inline constexpr size_t job_text_limit = SCH_JOB_TEXT_LIMIT;

class JobBody {
 public:
  enum class Close { open, end_job, end };

  // `refused`: the job could not be created; its lines are skipped, so that they are not taken for commands.
  JobBody(std::string name, bool refused) : name_(std::move(name)), refused_(refused) {}

  // Adds a line unchanged, except for a carriage return at its end; or closes the body, by "end-job" or exactly "end",
  // which also leaves the configuration mode, as in the blocks of `show scheduler config`.
  Close add(std::string_view line);

  std::optional<std::string> take_back();  // removes and returns the last line, if it was kept

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
  std::vector<Taken> taken_;  // for take_back(): the lines of the text, and the one that was refused
  std::string name_, text_, problem_;
  size_t lines_ = 0;
  bool refused_;
};

}  // namespace shell
