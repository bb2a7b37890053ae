// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdio>
#include <string>
#include <string_view>

namespace shell {

// `origin`: where the line stands, e.g. "file:3"; empty: nothing goes before the message.
inline void complain(std::string_view origin, const std::string &message) {
  const std::string before = origin.empty() ? std::string() : std::string(origin) + ": ";
  std::fprintf(stderr, "%s%s\n", before.c_str(), message.c_str());
}

}  // namespace shell
