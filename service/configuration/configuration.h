// SPDX-License-Identifier: Apache-2.0
// A configuration as a value: what its text says, and who owns each part.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "host/security/passwords.h"
#include "schedcli.h"

namespace service {

// The name is the one that the user had when the job or schedule was defined.
struct OwnerName {
  uint32_t tag = 0;  // uid + 1; 0: unknown
  std::string name;
  bool operator==(const OwnerName &) const = default;
};

struct JobBlock {
  std::string name, text;
  OwnerName owner;
  size_t line = 0;  // of the text that it was read from
};

struct ScheduleBlock {
  std::string name;
  std::string time;  // "daily 23:30", as after "time " in the text; empty: none
  std::vector<std::string> jobs, addresses;
  bool enabled = true;
  OwnerName owner;
  size_t line = 0;
};

// As far as a text names it; what it does not name is left unchanged.
struct PasswordLine {
  std::string user, sealed;
  size_t line = 0;
};

struct MailServer {
  std::string host, vrf;
  uint32_t port = SCH_SMTP_PORT_DEFAULT;
  bool operator==(const MailServer &) const = default;
};

inline constexpr int32_t usual_logging_level = 5;

// The settings that belong to no single user. Without a feature line the feature stays as it is.
struct GlobalSettings {
  std::optional<bool> feature;
  int32_t log_kilobytes = SCH_LOG_SIZE_DEFAULT / SCH_LOG_SIZE_UNIT;
  std::string log_uri;  // empty: the default file
  std::string mail_from, mail_reply_to;
  MailServer mail_server;
  int32_t logging_level = usual_logging_level;
  bool operator==(const GlobalSettings &) const = default;
};

struct Configuration {
  GlobalSettings settings;
  std::vector<JobBlock> jobs;            // in the order in which a schedule runs them
  std::vector<ScheduleBlock> schedules;  // in the order in which they are shown
  host::SealedPasswords passwords;       // for texts; they are stored apart from the configuration
};

}  // namespace service
