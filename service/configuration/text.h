// SPDX-License-Identifier: Apache-2.0
// The configuration's text in the layout of the library's own generation, with lines in the same form for what that
// leaves out: the feature's true state, the log file's name, the mail server's VRF, schedules that rest.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "service/configuration/configuration.h"

namespace service {

enum class Owners { left_out, told };  // told: in a comment before each job and schedule

std::string text_of(const Configuration &configuration, Owners owners = Owners::left_out);
std::string text_of_blocks(const Configuration &configuration);  // what has an owner, without the settings

struct LineProblem {
  size_t line = 0;  // from 1; 0: no line is to blame
  std::string text;
};

struct ConfigurationRead {
  Configuration configuration;
  std::vector<LineProblem> problems;  // empty: the configuration is whole
};

// Takes what text_of gives, and nothing else: every name, text and value is checked. Owners are believed where they are
// `told`; otherwise a comment is a comment.
// Settings that it does not name are those of `base`.
ConfigurationRead read_configuration(std::string_view text, Owners owners = Owners::left_out,
                                     const GlobalSettings &base = {});

}  // namespace service
