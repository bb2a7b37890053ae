// SPDX-License-Identifier: Apache-2.0
// The file of the sealed scheduler passwords: a line for each user, name and sealed text.
#pragma once

#include <cstdint>
#include <map>
#include <string>

namespace host {

using SealedPasswords = std::map<std::string, std::string>;

// 0, err_io or err_store_foreign; a line in the system log says why. No file is no passwords.
uint32_t read_passwords(SealedPasswords *passwords);
uint32_t write_passwords(const SealedPasswords &passwords);  // durable, or nothing changed

std::string passwords_path();

}  // namespace host
