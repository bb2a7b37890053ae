// SPDX-License-Identifier: Apache-2.0
// Sealed passwords: authenticated encryption under the key file, bound to the user, as printable text that fills the
// password field of a security record with its terminator.
#pragma once

#include <string>
#include <string_view>

#include "host/result.h"
#include "host/security/secret.h"

namespace host {

inline constexpr std::size_t sealed_length = 127;

// err_bad_value for an empty password, err_password_too_long, or why the key cannot be had.
Result<std::string> seal_password(const std::string &user, std::string_view clear);

// err_bad_value when it was not sealed for this user under this key.
Result<void> open_password(const std::string &user, const std::string &sealed, ClearText *clear);

}  // namespace host
