// SPDX-License-Identifier: Apache-2.0
// Who may do what: users work with their own jobs and schedules, the administrator with all.
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
  // system_wide: the service runs as root and serves every user; otherwise everything in it belongs to `self`.
  Authority(bool system_wide, Owner self) : system_wide_(system_wide), self_(std::move(self)) {}

  Owner owner(const host::Caller &caller) const;
  bool administrator(const host::Caller &caller) const { return !system_wide_ || caller.uid == 0; }
  bool may_use(const host::Caller &caller, uint32_t owner_tag) const;  // change, delete and see

  // Only the user and root, also where a service serves one user alone.
  bool may_use_password_of(const host::Caller &caller, const std::string &user) const;

  // 0, or why not: the caller is not in the allowed groups, or is a remote user without a stored password, which runs
  // need.
  uint32_t may_configure(const host::Caller &caller, const std::vector<std::string> &allowed, Groups &groups) const;
  // Whether the user is in one of the allowed groups. Always true for the administrator, and if no group is named.
  bool is_allowed(const host::Caller &caller, const std::vector<std::string> &allowed, Groups &groups) const;

  bool system_wide() const { return system_wide_; }

 private:
  bool system_wide_;
  Owner self_;
};

}  // namespace service
