// SPDX-License-Identifier: Apache-2.0
// Whether the machine's own shadow file lets a user's account be used. It is asked beside PAM, whose modules let a
// locked account pass, and where PAM has no service file of ours.
#pragma once

#include <ctime>
#include <optional>
#include <string>

namespace host {

// Why the account is closed: it is locked or has expired. Nothing if it is open, or is not in the file, or the file
// cannot be read, as by anyone but root.
std::optional<std::string> why_account_is_closed(const std::string &user, time_t now);

void use_shadow_file(const char *path);  // instead of /etc/shadow: a chroot's, a test's; kept, not copied

}  // namespace host
