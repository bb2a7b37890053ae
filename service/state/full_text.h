// SPDX-License-Identifier: Apache-2.0
// A configuration as the commands that make it, with nothing left out: the library's text, and in the same form what it
// has no lines for: the log file's name, the mail server's routing instance, disabled schedules, a disabled feature,
// sealed passwords.
#pragma once

#include <string>
#include <vector>

#include "schedcli.h"

namespace service {

std::string running_text();
std::string startup_text();         // without passwords: they are kept beside the stores
std::string stored_running_text();  // as it lies on disk

// Of one user: what is theirs, and no setting that is everybody's. Replayed by that user it meets no refusal.
std::string text_of_user(const std::string &user, uint32_t owner_tag);

}  // namespace service
