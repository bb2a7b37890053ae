// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace shell {

inline constexpr int usage_status = 2;      // the line is no command
inline constexpr int failure_status = 255;  // as the library's handlers have it

inline constexpr int password_accepted = 8;  // the password handler's own word for success
constexpr int password_status(int status) {
  return status == password_accepted ? 0 : status;
}

}  // namespace shell
