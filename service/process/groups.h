// SPDX-License-Identifier: Apache-2.0
// The groups of users, cached in the service: a look-up in each new process would load the name service's modules
// there, which takes longer than the rest of its start.
#pragma once

#include <sys/types.h>

#include <array>
#include <chrono>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "host/security/security.h"

namespace service {

class Groups {
 public:
  using Clock = std::chrono::steady_clock;
  using Lookup = bool (*)(const host::User &user, std::vector<gid_t> *groups);

  // A change of one of these files invalidates the cache. The default look-up is getgrouplist(); tests count calls.
  static constexpr const char *system_files[] = {"/etc/group", "/etc/nsswitch.conf", "/etc/passwd"};
  explicit Groups(std::vector<std::string> files = {std::begin(system_files), std::end(system_files)});
  Groups(std::vector<std::string> files, Lookup lookup) : files_(std::move(files)), lookup_(lookup) {}

  // Null if the look-up fails. Valid until the next call.
  const std::vector<gid_t> *of(const host::User &user, Clock::time_point now);
  const std::vector<std::string> *names_of(const host::User &user, Clock::time_point now);  // of those that have one

 private:
  struct Known {
    gid_t first = 0;
    Clock::time_point since;
    std::vector<gid_t> groups;
    std::optional<std::vector<std::string>> names;  // looked up at the first call of names_of
  };
  using Identity = std::vector<std::array<int64_t, 5>>;

  Identity identity() const;
  Known *known(const host::User &user, Clock::time_point now);

  std::vector<std::string> files_;
  Lookup lookup_;
  Identity identity_;
  std::map<std::string, Known> known_;
};

}  // namespace service
