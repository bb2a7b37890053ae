// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace shell {

inline constexpr int usage_status = 2;      // the line is not a command
inline constexpr int failure_status = 255;  // the same as of the library's handlers

inline constexpr int password_accepted = 8;  // what the library's password handler returns on success
constexpr int password_status(int status) {
  return status == password_accepted ? 0 : status;
}

}  // namespace shell
