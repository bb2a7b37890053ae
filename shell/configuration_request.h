// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include "control/configuration.h"
#include "host/result.h"

namespace shell {

struct ConfigurationProblem {
  size_t line = 0;  // of the text that was sent; 0: not about a line
  std::string text;
};

struct ConfigurationOutcome {
  uint32_t status = 0;
  bool order_not_taken_over = false;
  std::vector<ConfigurationProblem> problems;
  std::string before, after;  // the part that the caller may see
};

host::Result<std::string> running_configuration();
host::Result<std::string> startup_configuration();
host::Result<std::string> kept_configuration(uint32_t number);

host::Result<uint32_t> send_configuration(const std::string &text);  // returns its number, for ConfigurationOrder

// `command` is recorded in the history.
host::Result<ConfigurationOutcome> order_configuration(const control::ConfigurationOrder &order,
                                                       const std::string &command);

}  // namespace shell
