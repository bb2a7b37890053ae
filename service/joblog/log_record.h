// SPDX-License-Identifier: Apache-2.0
// One outcome with its output, and its encoding in the log's file.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace service {

struct LogRecord {
  std::string job, schedule, user;
  uint32_t owner_tag = 0;  // who may see it
  uint32_t wait_status = 0;
  uint32_t completion = 0;
  std::string output;
  uint64_t output_total = 0;  // bytes printed; if `output` has fewer, a line behind it says so
  std::string remark;         // the service's line behind the output; when read back it is part of the output
  uint64_t run = 0;           // number of the run; 0: none
  uint64_t outcome = 0;       // sequence number; 0: not an outcome, but a line of the log itself
  uint32_t reason = 0;        // why the run has no exit code of its own; 0: it has
  bool output_gone = false;   // `output` says so, and is nothing that was printed
};

// What the log says of a record's output, taken apart.
struct Printed {
  std::string_view text;    // as far as it is kept; the record's
  uint64_t length = 0;      // bytes printed
  bool cut = false;         // not all of them are kept
  std::string_view remark;  // the service's own line behind it
};
Printed printed_in(const LogRecord &record);

// Encodes a record's body, with as much of the output as fits in `room` bytes. `newest_outcome` is the newest of all
// outcomes so far, including this one: every record has it, so that it is known even if only one record is left.
std::vector<std::byte> encode(const LogRecord &record, uint64_t newest_outcome, size_t room);

// A record without copies of its texts, for the index.
struct LogRecordHead {
  uint64_t run = 0, outcome = 0, newest_outcome = 0, output_total = 0;
  uint32_t owner_tag = 0, wait_status = 0, completion = 0, reason = 0;
  std::string_view job, schedule, user, output;  // in the body
};

// `version` is the file's. nullopt: the body is malformed.
std::optional<LogRecordHead> decode(std::span<const std::byte> body, uint32_t version);
LogRecord record_of(const LogRecordHead &head);

}  // namespace service
