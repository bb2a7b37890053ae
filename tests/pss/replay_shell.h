// SPDX-License-Identifier: Apache-2.0
// The least of a shell: each line of a configuration text, and its "no" forms, goes to the handler behind it.
#pragma once

#include <string>

#include "tests/platform/platform.h"

namespace pss_test {

class ReplayShell {
 public:
  // 0, or the first result of a handler that was not, with the line in `failed`. A schedule that exists is entered.
  int run(const std::string &text);
  const std::string &failed() const { return failed_; }

 private:
  int line(const std::string &text);
  int command(const std::string &text);
  int schedule_command(const std::string &text, bool negate);
  int end_job();

  std::string job_, job_text_, schedule_, failed_;
  bool in_job_ = false;
};

}  // namespace pss_test
