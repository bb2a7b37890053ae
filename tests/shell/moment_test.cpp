// SPDX-License-Identifier: Apache-2.0
#include "shell/moment.h"

#include <gtest/gtest.h>

#include <cstdlib>

namespace shell {
namespace {

constexpr time_t noon = 1795262400;  // Sat Nov 21 12:00:00 2026 UTC
constexpr int64_t none = -1;

struct Case {
  const char *text;
  int64_t moment;
};

const Case cases[] = {
    {"90s", noon - 90},
    {"30m", noon - 1800},
    {"6h", noon - 21600},
    {"2d", noon - 172800},
    {"0s", noon},
    {"12:00", noon},
    {"11:59", noon - 60},
    {"12:01", noon + 60 - 86400},  // of yesterday
    {"2026-11-21", noon - 43200},
    {"2026-11-21T12:00", noon},
    {"2026-11-21T12:00:30", noon + 30},
    {"2026:11:21:12:00", noon},
    {"2026-02-30", none},
    {"", none},
    {"h", none},
    {"-1h", none},
    {"1w", none},
    {"9999999s", noon - 9999999},
    {"99999999s", none},
    {"99999999d", none},
    {"s", none},
    {"xs", none},
    {"1", none},
    {"2026-11-21T12:00:60x", none},
    {"2026-04-31T12:00", none},
    {"24:00", none},
    {"12:00x", none},
    {"yesterday", none},
};

TEST(moment_of, reads_what_an_operator_means) {
  setenv("TZ", "UTC", 1);
  tzset();
  for (const Case &text : cases)
    EXPECT_EQ(moment_of(text.text, noon).value_or(none), text.moment) << text.text;
}

TEST(moment_of, is_local_time) {
  setenv("TZ", "<+02>-2", 1);
  tzset();
  EXPECT_EQ(moment_of("2026-11-21T14:00", noon), noon);
  EXPECT_EQ(moment_of("14:00", noon), noon);
}

}  // namespace
}  // namespace shell
