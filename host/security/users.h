// SPDX-License-Identifier: Apache-2.0
// The users of this machine and of its name service, and which texts are user names.
#pragma once

#include <sys/types.h>

#include <optional>
#include <string>

namespace host {

struct User {
  uid_t uid = 0;
  gid_t gid = 0;
  std::string name, home, shell;
};

// Look-ups by the system's name service. No user is found for a text that is_user_name() refuses.
std::optional<User> user_by_name(const std::string &name);
std::optional<User> user_by_uid(uid_t uid);
bool user_is_local(const std::string &name);  // has a line in the local password file

// False for a number in any notation, the empty name, more than 31 bytes, blanks and separators.
bool is_user_name(const std::string &name);

void use_local_users_file(const char *path);  // instead of /etc/passwd: a chroot's, a test's; kept, not copied

}  // namespace host
