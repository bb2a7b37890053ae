// SPDX-License-Identifier: Apache-2.0
// The file of the sealed scheduler passwords: a line for each user, name and sealed text.
#pragma once

#include <map>
#include <string>

#include "host/result.h"

namespace host {

using SealedPasswords = std::map<std::string, std::string>;

Result<SealedPasswords> read_passwords();  // err_io or err_store_unusable; without a file there are no passwords
Result<void> write_passwords(const SealedPasswords &passwords);  // durable, or nothing changed

std::string passwords_path();

}  // namespace host
