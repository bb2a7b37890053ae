// SPDX-License-Identifier: Apache-2.0
// One outcome with its output, and its form in the log's file.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace service {

struct LogRecord {
  std::string job, schedule, user;
  uint32_t owner_tag = 0;  // who may see it
  uint32_t wait_status = 0;
  uint32_t completion = 0;
  std::string output;
  uint64_t output_total = 0;  // bytes printed; what `output` lacks of them is said behind it
  std::string remark;         // the service's own line behind the output; read back as part of it
  uint64_t run = 0;           // number of the run; 0: none
  uint64_t outcome = 0;       // its place in the sequence of outcomes; 0: not an outcome, but a line of the log itself
  uint32_t reason = 0;        // why the run has no exit code of its own; 0: it has
};

// The body of a record of the file, with as much of the output as `room` bytes hold. `newest_outcome` is the newest of
// all outcomes written so far, this one included: it survives when this record alone is left.
std::vector<std::byte> encode(const LogRecord &record, uint64_t newest_outcome, size_t room);

// All but the texts' copies: what an index needs.
struct LogRecordHead {
  uint64_t run = 0, outcome = 0, newest_outcome = 0, output_total = 0;
  uint32_t owner_tag = 0, wait_status = 0, completion = 0, reason = 0;
  std::string_view job, schedule, user, output;  // in the body
};

// Of a file of the given version. nullopt: the body is no record's.
std::optional<LogRecordHead> decode(std::span<const std::byte> body, uint32_t version);
LogRecord record_of(const LogRecordHead &head);

}  // namespace service
