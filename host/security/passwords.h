// SPDX-License-Identifier: Apache-2.0
// The file of the sealed scheduler passwords: a line for each user, name and sealed text.
#pragma once

#include <cstddef>
#include <map>
#include <string>

#include "host/result.h"

namespace host {

inline constexpr std::size_t passwords_limit = 4 * 1024 * 1024;  // bytes; 25,000 users, a larger file is not ours

using SealedPasswords = std::map<std::string, std::string>;

Result<SealedPasswords> read_passwords();  // err_io or err_store_unusable; without a file there are no passwords
Result<void> write_passwords(const SealedPasswords &passwords);  // durable, or nothing changed

std::string passwords_path();

}  // namespace host
