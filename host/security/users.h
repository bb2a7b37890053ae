// SPDX-License-Identifier: Apache-2.0
// What is a user's name at all, and where local users are listed.
#pragma once

#include <string>

namespace host {

// False for a number in any notation, the empty name, more than 31 bytes, blanks and separators.
bool is_user_name(const std::string &name);

void use_local_users_file(const char *path);  // instead of /etc/passwd: a chroot's, a test's; kept, not copied

}  // namespace host
