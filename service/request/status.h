// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <ctime>
#include <optional>
#include <string>
#include <vector>

#include "service/request/context.h"

namespace service {

struct Share {
  size_t schedules = 0, jobs = 0, runs = 0, waiting = 0;
};
struct UserShare {
  std::string user;
  Share share;
};

struct StoreSize {
  const char *name;              // "running store"
  std::optional<uint64_t> size;  // nothing: there is no such store
};

struct NextDue {
  uint32_t due;
  std::string schedule;
};

// A changed configuration that is rolled back unless it is confirmed.
struct AwaitedConfirmation {
  time_t deadline;
  std::string who;
};

// What belongs to nobody alone: an administrator's to see.
struct WholeStatus {
  std::string state_directory;
  std::optional<size_t> schedules, runs, waiting, mail;  // of an active service
  std::vector<StoreSize> stores;
  std::optional<uint64_t> log_size;
};

struct ServiceStatus {
  bool active = true;
  time_t started = 0;
  std::string settings_file;  // empty: none
  std::string zone;
  bool enabled = false;
  host::BootFrom boot_from = {};
  std::optional<WholeStatus> whole;
  std::optional<NextDue> next_due;
  std::optional<AwaitedConfirmation> confirmation;
  std::vector<UserShare> shares;
};

// With every user's share for the administrator, otherwise with the caller's own.
ServiceStatus status_of(const Call &call);
ServiceStatus standby_status(const Settings &settings, time_t started, bool administrator);

host::Answer show_standby_status(const Settings &settings, time_t started, bool administrator);
host::Answer standby_status_document(const Settings &settings, time_t started, bool administrator);

}  // namespace service
