// SPDX-License-Identifier: Apache-2.0
// The traces of reading, completing, verifying and computing a time, in their order.
#include "tests/platform/journal.h"
#include "tests/time/moments.h"

namespace {

using namespace platform_test;
using namespace time_test;

using TimeConformance = PlatformTest;

std::function<int()> parsed(const char *text) {
  return [=] {
    sch_tminfo record = {};
    return sch_parse_str_to_tminfo(text, &record);
  };
}

std::function<int()> completed(const char *text) {
  return [=] {
    fake.now = moment("2026-06-15 23:55:00 UTC");
    const tm now = local(fake.now);
    sch_tminfo record = unset();
    return get_start_time(text, &record, &now);
  };
}

std::function<int()> verified(const sch_tminfo &record) {
  return [=] {
    fake.now = moment("2026-06-15 12:00:00 UTC");
    return sch_verify_tminfo(&record);
  };
}

std::function<int()> computed(const sch_tminfo &record) {
  return [=] {
    fake.now = moment("2026-06-15 12:00:00 UTC");  // a Monday
    sch_timeval interval;
    time_t next;
    return sch_compute_timer_interval(&record, &interval, &next);
  };
}

const Conformance rows[] = {
    {"a minute", parsed("30"), R"(103| parse str 30 ; - minute retrieved
= 0)"},
    {"hour and minute", parsed("7:30"),
     R"(103| parse str 7:30 ; minute str 30 ; minute retrieved ; hour str 7 ; - hour retrieved
= 0)"},
    {"a day", parsed("Mon:7:30"),
     R"(103| parse str Mon:7:30 ; minute str 30 ; minute retrieved ; hour str 7 ; hour retrieved ; dw/dm Mon
103| - day retrieved
= 0)"},
    {"a month", parsed("Feb:3:7:30"),
     R"(103| parse str Feb:3:7:30 ; minute str 30 ; minute retrieved ; hour str 7 ; hour retrieved ; dw/dm 3
103| day retrieved ; - month retrieved
= 0)"},
    {"a year", parsed("2026:Feb:3:7:30"),
     R"(103| parse str 2026:Feb:3:7:30 ; minute str 30 ; minute retrieved ; hour str 7 ; hour retrieved ; dw/dm 3
103| day retrieved ; month Feb ; month retrieved ; year 2026 ; - year retrieved
= 0)"},
    {"a leading colon", parsed(":10"), R"(= -1)"},
    {"a bad minute", parsed("x"), R"(103| parse str x
= 0xfffffffe)"},
    {"behind an hour", parsed("7:x"), R"(103| parse str 7:x ; minute str x
= 0xfffffffe)"},
    {"a bad hour", parsed("x:30"), R"(103| parse str x:30 ; minute str 30 ; minute retrieved ; hour str x
= 0xfffffffe)"},
    {"a bad day", parsed("x:1:30"),
     R"(103| parse str x:1:30 ; minute str 30 ; minute retrieved ; hour str 1 ; hour retrieved ; dw/dm x
= 0xfffffffe)"},
    {"a bad month", parsed("x:1:1:30"),
     R"(103| parse str x:1:1:30 ; minute str 30 ; minute retrieved ; hour str 1 ; hour retrieved ; dw/dm 1
103| day retrieved
= 0xfffffffe)"},
    {"a bad year", parsed("x:1:1:1:30"),
     R"(103| parse str x:1:1:1:30 ; minute str 30 ; minute retrieved ; hour str 1 ; hour retrieved ; dw/dm 1
103| day retrieved ; month 1 ; month retrieved ; year x
= 0xfffffffe)"},
    {"a sixth field", parsed("1:1:1:1:1:30"),
     R"(103| parse str 1:1:1:1:1:30 ; minute str 30 ; minute retrieved ; hour str 1 ; hour retrieved ; dw/dm 1
103| day retrieved ; month 1 ; month retrieved
= -1)"},
    {"a relative time, as it was added up, carried and verified", completed("+1:10"),
     R"(103| parse str 1:10 ; minute str 10 ; minute retrieved ; hour str 1 ; - hour retrieved ; schedule type: 1
103| year         : 126 ; month        : 5 ; day of month : 15 ; day of week  : -1 ; hour         : 24
103| minute       : 65 ; start time   : 4711 ; schedule type: 1 ; year         : 126 ; month        : 5
103| day of month : 16 ; day of week  : -1 ; hour         : 1 ; minute       : 5 ; start time   : 4711
= 0)"},
    {"a relative month, refused before the record is shown", completed("+2:1:1:00"),
     R"(103| parse str 2:1:1:00 ; minute str 00 ; minute retrieved ; hour str 1 ; hour retrieved ; dw/dm 1
103| day retrieved ; - month retrieved
= 0xbf42fff5)"},
    {"a one-shot verified", verified(oneshot(2027, 1, 1, 1, 1)),
     R"(103| schedule type: 1 ; year         : 127 ; month        : 0 ; day of month : 1 ; day of week  : 0
103| hour         : 1 ; minute       : 1 ; start time   : 0
= 0)"},
    {"one out of its ranges", verified(oneshot(2027, 2, 30, 1, 1)), R"(= 0xbf42fff3)"},
    {"the others", verified(daily(1, 1)), R"(= 0)"},
    {"the next daily run today", computed(daily(12, 30)),
     R"(103| interval on current day ; Future Mon Jun 15 12:30:00 2026\n ; Now Mon Jun 15 12:00:00 2026\n
= 0)"},
    {"tomorrow", computed(daily(12, 0)),
     R"(103| interval on next day ; Future Tue Jun 16 12:00:00 2026\n ; Now Mon Jun 15 12:00:00 2026\n
= 0)"},
    {"the next weekly run in this week", computed(weekly(3, 9, 0)),
     R"(103| interval within current week ; Future Tue Jun 16 09:00:00 2026\n ; Now Mon Jun 15 12:00:00 2026\n
= 0)"},
    {"in the next", computed(weekly(1, 9, 0)),
     R"(103| interval in next week ; Future Sun Jun 21 09:00:00 2026\n ; Now Mon Jun 15 12:00:00 2026\n
= 0)"},
    {"today", computed(weekly(2, 13, 0)), R"(103| Future Mon Jun 15 13:00:00 2026\n ; Now Mon Jun 15 12:00:00 2026\n
= 0)"},
    {"the next monthly run in this month", computed(monthly(31, 9, 0)),
     R"(103| interval in current month ; Future Tue Jun 30 09:00:00 2026\n ; Now Mon Jun 15 12:00:00 2026\n
= 0)"},
    {"in the next", computed(monthly(10, 9, 0)),
     R"(103| interval incrementing to next month ; Future Fri Jul 10 09:00:00 2026\n ; Now Mon Jun 15 12:00:00 2026\n
= 0)"},
    {"today", computed(monthly(15, 13, 0)), R"(103| Future Mon Jun 15 13:00:00 2026\n ; Now Mon Jun 15 12:00:00 2026\n
= 0)"},
    {"a one-shot that has passed", computed(oneshot(2026, 6, 15, 11, 0)),
     R"(103| schedule type: 1 ; year         : 126 ; month        : 5 ; day of month : 15 ; day of week  : 0
103| hour         : 11 ; minute       : 0 ; start time   : 0 ; Future Mon Jun 15 11:00:00 2026\n
103| Now Mon Jun 15 12:00:00 2026\n
= -1)"},
    {"a period", computed(periodic(0, 1, 0, 0)),
     R"(103| Future Thu Jan  1 01:00:00 1970\n ; Now Mon Jun 15 12:00:00 2026\n
= -1)"},
    {"no type", computed({}), R"(= -1)"},
    {"an interval",
     [] {
       const sch_timeval value = {12, -34};
       print_timeval(&value);
       return 0;
     },
     R"(103| seconds 12 ; micro seconds -34
= 0)"},
};

TEST_F(TimeConformance, of_times) {
  expect_conformance(rows);
}

}  // namespace
