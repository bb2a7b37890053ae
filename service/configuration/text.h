// SPDX-License-Identifier: Apache-2.0
// The configuration's text in the layout that the library generates, with further lines for what the library leaves
// out: the feature's real state, the log file's name, the mail server's VRF, disabled schedules.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "service/configuration/configuration.h"

namespace service {

enum class Owners { omitted, in_comments };  // in_comments: a comment before each job and schedule names its owner

std::string text_of(const Configuration &configuration, Owners owners = Owners::omitted);

struct LineProblem {
  size_t line = 0;  // from 1; 0: not about a line
  std::string text;
};

struct ConfigurationRead {
  Configuration configuration;
  std::vector<PasswordLine> passwords;
  std::vector<LineProblem> problems;  // empty: the configuration is whole
};

// Parses what text_of writes, and nothing else: every name, text and value is checked. Owners are read from the
// comments only with `in_comments`, for the service's own files. Settings that the text does not have are those of
// `base`.
ConfigurationRead read_configuration(std::string_view text, Owners owners = Owners::omitted,
                                     const GlobalSettings &base = {});

}  // namespace service
