// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <string>

namespace shell {

// What the platform's file calls take. Null: `error` says why the text is no file of this machine.
std::shared_ptr<const void> parse_file_uri(const std::string &text, std::string *error);

}  // namespace shell
