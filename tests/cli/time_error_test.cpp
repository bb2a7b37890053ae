// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "tests/cli/exchange.h"

namespace {

using cli_test::run;

const std::string bad = "Incorrect time format. ";
const std::string range = "Value out of range\n";
const std::string oneshot = "Should be yyyy:mmm:dd:HH:MM or +dd:HH:MM\n";
const std::string hours = "    HH = {0..23}\n", minutes = "    MM = {0..59}\n";

class TimeError : public cli_test::CliTest {};

TEST_F(TimeError, each_code_and_type_has_its_text) {
  const std::string past = "Specified time is in the past\n";
  const struct {
    uint32_t code, type;
    std::string text;
    size_t last_write;  // length of what was written last
  } rows[] = {
      {0x40bd000e, 1, past, past.size()},
      {0x40bd000e, 7, past, past.size()},
      {0x40bd000e, 99, past, past.size()},
      {0x40bd000b, 1, bad + oneshot, oneshot.size()},
      {0x40bd000b, 3, bad + "Should be HH:MM\n", 16},
      {0x40bd000b, 4, bad + "Should be dow:HH:MM\n", 20},
      {0x40bd000b, 5, bad + "Should be dm:HH:MM\n", 19},
      {0x40bd000b, 7, bad + "Should be dd:HH:MM\n", 19},
      {0x40bd000b, 2, bad + "Error 1086128139. Format unknown\n", 33},
      {0x40bd000b, 0, bad + "Error 1086128139. Format unknown\n", 33},
      {0x40bd000d, 1, range + oneshot + "    mmm = {1..12} or Jan, Feb...Dec\n", 36},
      {0x40bd000d, 3, range + "Should be HH:MM.\n" + hours + minutes, 17},
      {0x40bd000d, 4, range + "Should be dow:HH:MM.\n    dow = {1..7} or Sun,Mon ... Sat\n" + hours + minutes, 17},
      {0x40bd000d, 5, range + "Should be dm:HH:MM\n    dm = {1..31}\n" + hours + minutes, 17},
      {0x40bd000d, 7, range + "Should be dd:HH:MM.\n    dd,HH,MM = {1..99}\n", 23},
      {0x40bd000d, 2, range + "Error 1086128141. Format unknown.\n", 34},
      {0x40bd000d, 1000, range + "Error 1086128141. Format unknown.\n", 34},
      {0, 1, "Error 0.\n", 9},
      {5, 3, "Error 5.\n", 9},
      {0x40bd000a, 3, "Error 1086128138.\n", 18},
      {0x40bd000f, 3, "Error 1086128143.\n", 18},
      {0xffffffff, 3, "Error -1.\n", 10},
  };
  for (const auto &row : rows) {
    const auto outcome = run([&] { return sch_cli_disp_error(row.code, row.type); });
    EXPECT_EQ(outcome.err, row.text) << row.code << " " << row.type;
    EXPECT_EQ(outcome.result, static_cast<int>(row.last_write)) << row.code << " " << row.type;
    EXPECT_EQ(outcome.out, "");
  }
}

TEST_F(TimeError, the_second_format_code_is_reported_as_the_first) {
  for (uint32_t type = 0; type < 9; ++type)
    EXPECT_EQ(run([&] { return sch_cli_disp_error(0x40bd000c, type); }).err,
              run([&] { return sch_cli_disp_error(0x40bd000b, type); }).err);
}

}  // namespace
