// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdio>
#include <string>
#include <string_view>

namespace shell {

// `origin` precedes the message: the place of the line, e.g. "file:3"; may be empty.
inline void complain(std::string_view origin, const std::string &message) {
  const std::string before = origin.empty() ? std::string() : std::string(origin) + ": ";
  std::fprintf(stderr, "%s%s\n", before.c_str(), message.c_str());
}

}  // namespace shell
