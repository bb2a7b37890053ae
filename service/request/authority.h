// SPDX-License-Identifier: Apache-2.0
// Who may do what: everybody works with what is theirs, the administrator with everything.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <string>
#include <vector>

#include "host/transport/transport.h"
#include "service/process/groups.h"

namespace service {

struct Owner {
  uid_t uid = 0;
  std::string name;
};

class Authority {
 public:
  // system_wide: the service runs as root and serves every user; otherwise all that it holds is `self`'s.
  Authority(bool system_wide, Owner self) : system_wide_(system_wide), self_(std::move(self)) {}

  Owner owner(const host::Caller &caller) const;
  bool administrator(const host::Caller &caller) const { return !system_wide_ || caller.uid == 0; }
  bool may_use(const host::Caller &caller, uint32_t owner_tag) const;  // change, delete and see

  // What belongs to one user alone, whomever the service serves: to themselves, or to root.
  bool may_use_password_of(const host::Caller &caller, const std::string &user) const;

  // A user who is not of this machine can be served only with a stored password, which the run will need.
  uint32_t may_configure(const host::Caller &caller, const std::vector<std::string> &allowed, Groups &groups) const;
  // The user is in a group that may; where none is named everybody is. The administrator always is.
  bool is_allowed(const host::Caller &caller, const std::vector<std::string> &allowed, Groups &groups) const;

  bool system_wide() const { return system_wide_; }

 private:
  bool system_wide_;
  Owner self_;
};

}  // namespace service
