// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdio>
#include <string>
#include <string_view>

#include "host/visible.h"

namespace shell {

// `origin` precedes the message: the place of the line, e.g. "file:3"; may be empty.
// What is complained of may be a line of somebody else's file, and have anything in it.
inline void complain(std::string_view origin, const std::string &message) {
  const std::string before = origin.empty() ? std::string() : std::string(origin) + ": ";
  std::fprintf(stderr, "%s\n", host::visible(before + message).c_str());
}

}  // namespace shell
