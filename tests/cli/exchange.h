// SPDX-License-Identifier: Apache-2.0
// Runs a handler and shows what it did, for comparison with a table's row.
#pragma once

#include <gmock/gmock.h>

#include <functional>
#include <ostream>
#include <string>
#include <vector>

#include "schedcli_requests.h"
#include "tests/platform/platform.h"

namespace cli_test {

using platform_test::Context;
using platform_test::error_text;
using platform_test::fake;
using platform_test::Reply;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

using Handler = int (*)(const sch_cli_cmd_ctx *);

struct Outcome {
  int result = 0;
  std::string out, err;
  std::vector<std::string> requests;  // as sent
  int freed = 0;
};

Outcome run(const std::function<int()> &body);
Outcome run(Handler handler, Context &context);

// A handler with parameters that are texts.
struct Command {
  const char *title;
  Handler handler;
  uint32_t subcommand = 0;
  std::vector<std::string> params = {};
  uint32_t negate = 0;
};
Outcome run(const Command &command);

// Those that check the user before anything is sent.
extern const std::vector<Command> checked_commands;

// A handler that stops before it sends anything.
bool refused(const Outcome &outcome, int result, const std::string &err, const std::string &out = "");

template <size_t Size>
void put(char (&field)[Size], const std::string &text) {
  text.copy(field, Size);
}

// The request that a handler is to send: its payload zero but for what is filled, and what stands behind it.
template <class Payload>
std::string request(uint32_t opcode, const std::function<void(Payload &)> &fill, const std::string &behind = "") {
  struct {
    sch_request_header header;
    Payload payload;
  } record = {{opcode, static_cast<uint32_t>(sizeof(Payload) + behind.size())}, {}};
  fill(record.payload);
  return std::string(reinterpret_cast<const char *>(&record), sizeof record.header + sizeof record.payload) + behind;
}
std::string named_request(uint32_t opcode, const std::string &name, uint32_t negate = 0);
std::string job_request(uint32_t opcode, const std::string &name, uint32_t negate = 0, const std::string &text = "");

std::string status_line(const std::string &what, uint32_t status);  // as the handlers write it
inline constexpr char name_rule_message[] =
    "Invalid name. Name should begin with alphanumeric and may have '_' or '-'.\n";
inline constexpr char no_memory_message[] = "Could not allocate memory\n";
inline constexpr uint32_t exists = 0x40bd0002, other_failure = 0x40be0001;

class CliTest : public platform_test::PlatformTest {};

std::ostream &operator<<(std::ostream &out, const Outcome &outcome);

}  // namespace cli_test
