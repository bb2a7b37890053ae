// SPDX-License-Identifier: Apache-2.0
#include "service/request/authority.h"

#include "host/security/security.h"
#include "service/state/schedule_state.h"

namespace service {

Owner Authority::owner(const host::Caller &caller) const {
  return system_wide_ ? Owner{caller.uid, caller.user_name} : self_;
}

bool Authority::may_use(const host::Caller &caller, uint32_t tag) const {
  return administrator(caller) || tag == owner_tag(caller.uid);
}

uint32_t Authority::may_configure(const host::Caller &caller) const {
  const std::string name = owner(caller).name;
  if (name.empty()) return SCH_STATUS_NO_USER_NAME;
  if (host::user_is_local(name)) return 0;
  sch_security_user_rec record = {};
  return host::security_read(name, &record) == 0 ? 0 : SCH_STATUS_NO_PASSWORD;
}

}  // namespace service
