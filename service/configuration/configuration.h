// SPDX-License-Identifier: Apache-2.0
// A configuration as a value: what its text says, and whose each part is.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "schedcli.h"

namespace service {

// Of the user at that time; tag 0: not known.
struct OwnerName {
  uint32_t tag = 0;  // uid + 1
  std::string name;
  bool operator==(const OwnerName &) const = default;
};

struct JobBlock {
  std::string name, text;
  OwnerName owner;
  size_t line = 0;  // where it stands in the text that it was read from
};

struct ScheduleBlock {
  std::string name;
  std::string time;  // "daily 23:30", as the configuration's text has it behind "time "; empty: none
  std::vector<std::string> jobs, addresses;
  bool enabled = true;
  OwnerName owner;
  size_t line = 0;
};

struct MailServer {
  std::string host, vrf;
  uint32_t port = SCH_SMTP_PORT_DEFAULT;
  bool operator==(const MailServer &) const = default;
};

inline constexpr int32_t usual_logging_level = 5;

// What is not of one user. An absent feature line leaves the feature as it is.
struct GlobalSettings {
  std::optional<bool> feature;
  int32_t log_kilobytes = SCH_LOG_SIZE_DEFAULT / SCH_LOG_SIZE_UNIT;
  std::string log_uri;  // empty: nobody chose it
  std::string mail_from, mail_reply_to;
  MailServer mail_server;
  int32_t logging_level = usual_logging_level;
  bool operator==(const GlobalSettings &) const = default;
};

struct Configuration {
  GlobalSettings settings;
  std::vector<JobBlock> jobs;            // in the order in which runs take them
  std::vector<ScheduleBlock> schedules;  // in the order in which they are shown
};

}  // namespace service
