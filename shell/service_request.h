// SPDX-License-Identifier: Apache-2.0
// Requests for the service's own operations (control/operations.h).
#pragma once

#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "control/limits.h"
#include "control/operations.h"
#include "host/transport/transport.h"
#include "shell/grammar.h"

namespace shell {

template <typename Record>
host::Bytes payload_of(const Record &record, std::string_view text = {}) {
  host::Bytes payload(sizeof record + text.size());
  std::memcpy(payload.data(), &record, sizeof record);
  if (!text.empty()) std::memcpy(payload.data() + sizeof record, text.data(), text.size());
  return payload;
}

template <typename Record>
std::string_view bytes_of(const Record &record) {
  return {reinterpret_cast<const char *>(&record), sizeof record};
}

inline std::string text_of(const host::Bytes &reply) {
  return {reinterpret_cast<const char *>(reply.data()), reply.size()};
}

// Reports a failure to the operator, with its subject, and returns its status.
int failed(const std::string &subject, const host::Error &error);
int request(const std::string &subject, control::Operation operation, std::span<const std::byte> payload = {},
            host::Bytes *reply = nullptr);
int show_text(const std::string &subject, control::Operation operation, std::span<const std::byte> payload = {});

control::ConfiguredLimits limits_in_use();  // the defaults if the service does not answer

using Names = std::vector<std::string>;

// For a job the schedules that use it. An error if the object does not exist or the operator may not use it.
host::Result<Names> find_named(control::ObjectKind kind, const std::string &name);

// The names with this prefix; none if the service does not answer.
Names names_of(control::ObjectKind kind, const std::string &beginning);

// For completion: the names for a parameter, by one request; none for a parameter that is no name.
Names existing_names(const Parameter &parameter, const std::string &typed);

}  // namespace shell
