// SPDX-License-Identifier: Apache-2.0
// `| json` of a show command.
#pragma once

#include <string>

namespace shell {

struct Match;
struct Query;

std::string with_shell_version(const std::string &document);
std::string with_shell_history(const std::string &document);

// Returns 0, or a status of which it has told the operator.
int show_document(const Match &match, const Query &query);

}  // namespace shell
