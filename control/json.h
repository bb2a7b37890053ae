// SPDX-License-Identifier: Apache-2.0
// Values of the module yang/schedcli.yang in JSON, as RFC 7951 writes them: what `| json` shows.
#pragma once

#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

#include "host/debug.h"

namespace control {

using Json = nlohmann::ordered_json;  // members stand in the order in which they were added

// Safe for a terminal as every other text of somebody else (host/visible.h), and of characters that a YANG string may
// have.
std::string json_text(std::string_view text);

std::string json_number(uint64_t number);    // of 64 bits: a string, for readers whose numbers have 53
std::string json_moment(int64_t seconds);    // "2026-11-21T12:30:00+01:00", in the process's zone
std::string json_moment_ms(int64_t moment);  // with its milliseconds

Json json_event(const host::DebugEvent &event);

std::string json_document(const Json &document);

}  // namespace control
