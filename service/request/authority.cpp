// SPDX-License-Identifier: Apache-2.0
#include "service/request/authority.h"

#include <algorithm>

#include "control/statuses.h"
#include "host/security/security.h"
#include "service/state/schedule_state.h"

namespace service {

Owner Authority::owner(const host::Caller &caller) const {
  return system_wide_ ? Owner{caller.uid, caller.user_name} : self_;
}

bool Authority::may_use(const host::Caller &caller, uint32_t tag) const {
  return administrator(caller) || tag == owner_tag(caller.uid);
}

bool Authority::may_use_password_of(const host::Caller &caller, const std::string &user) const {
  return caller.peer_uid == 0 || caller.user_name == user;
}

// If a user's groups cannot be looked up, nothing is allowed.
bool Authority::is_allowed(const host::Caller &caller, const std::vector<std::string> &allowed, Groups &groups) const {
  if (allowed.empty() || administrator(caller)) return true;
  const std::optional<host::User> user = host::user_by_name(caller.user_name);
  const std::vector<std::string> *names = user ? groups.names_of(*user, Groups::Clock::now()) : nullptr;
  return names != nullptr && std::ranges::find_first_of(allowed, *names) != allowed.end();
}

uint32_t Authority::may_configure(const host::Caller &caller, const std::vector<std::string> &allowed,
                                  Groups &groups) const {
  const std::string name = owner(caller).name;
  if (name.empty()) return SCH_STATUS_NO_USER_NAME;
  if (!is_allowed(caller, allowed, groups)) return control::err_not_allowed;
  if (host::user_is_local(name)) return 0;
  return host::security_read(name) ? 0 : SCH_STATUS_NO_PASSWORD;
}

}  // namespace service
