// SPDX-License-Identifier: Apache-2.0
// Runs a handler and shows what it did, for comparison with a table's row.
#pragma once

#include <functional>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "tests/platform/platform.h"

namespace cli_test {

using platform_test::Context;
using platform_test::fake;

using Handler = int (*)(const sch_cli_cmd_ctx *);

struct Outcome {
  int result = 0;
  std::string out, err;
  std::vector<std::string> requests;  // in hex, as sent
  int freed = 0;
};

Outcome run(const std::function<int()> &body);
Outcome run(Handler handler, Context &context);

// A handler that stops before it sends anything.
bool refused(const Outcome &outcome, int result, const std::string &err, const std::string &out = "");

// A record as hex, built from its documented fields and zero everywhere else.
class Record {
 public:
  Record(uint32_t opcode, uint32_t payload_length);
  Record &word(size_t offset, uint32_t value);          // host byte order
  Record &network_word(size_t offset, uint32_t value);  // network byte order
  Record &byte(size_t offset, uint8_t value);
  Record &text(size_t offset, const std::string &value);
  std::string hex() const;

 private:
  std::string bytes_;
};

std::string status_line(const std::string &what, uint32_t status);  // as the handlers write it
inline constexpr char name_rule_message[] =
    "Invalid name. Name should begin with alphanumeric and may have '_' or '-'.\n";

class CliTest : public platform_test::PlatformTest {};

std::ostream &operator<<(std::ostream &out, const Outcome &outcome);

}  // namespace cli_test
