// SPDX-License-Identifier: Apache-2.0
// Users, sealed scheduler passwords and authentication, as the service uses them directly; platform/security.h sits on
// these.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "schedcli.h"

namespace host {

struct User {
  uid_t uid = 0;
  gid_t gid = 0;
  std::string name, home, shell;
};

// Look-ups by the system's name service. A name that is a number in any notation, empty, or longer than 31 bytes is no
// user.
std::optional<User> user_by_name(const std::string &name);
std::optional<User> user_by_uid(uid_t uid);
bool user_is_local(const std::string &name);  // has a line in the local password file

// Marks this process as the one that holds the key and the password store: the platform's calls then work on the files
// below the state directory themselves; in every other process they ask the service.
uint32_t security_become_service();
bool security_is_service();

uint32_t security_read(const std::string &user, sch_security_user_rec *record);  // form 7, sealed
uint32_t security_store(const sch_security_user_rec &record);                    // form 0 is sealed first
uint32_t security_remove(const std::string &user);
uint32_t security_authenticate(const std::string &user, const std::string &sealed);  // 0: accepted

}  // namespace host
