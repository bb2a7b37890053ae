// SPDX-License-Identifier: Apache-2.0
// The groups of a user, looked up before they are needed: a look-up in the new process would cost it more than all else
// and load a module of the name service each time.
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

  // Files whose change makes every answer old. The look-up is by getgrouplist(); a test's own counts calls.
  static constexpr const char *system_files[] = {"/etc/group", "/etc/nsswitch.conf", "/etc/passwd"};
  explicit Groups(std::vector<std::string> files = {std::begin(system_files), std::end(system_files)});
  Groups(std::vector<std::string> files, Lookup lookup) : files_(std::move(files)), lookup_(lookup) {}

  // Null: they cannot be told. Valid until the next call.
  const std::vector<gid_t> *of(const host::User &user, Clock::time_point now);
  const std::vector<std::string> *names_of(const host::User &user, Clock::time_point now);  // of those that have one

 private:
  struct Known {
    gid_t first = 0;
    Clock::time_point since;
    std::vector<gid_t> groups;
    std::optional<std::vector<std::string>> names;  // looked up when somebody asks for them
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
