// SPDX-License-Identifier: Apache-2.0
#include "acfg/start_fields.h"

namespace acfg {

namespace {

constexpr int year_base = 1900;

// A stored record may hold any number: the sum wraps instead of overflowing.
int wrapped_sum(int value, int addend) {
  int sum;
  (void)__builtin_add_overflow(value, addend, &sum);
  return sum;
}

}  // namespace

StartFields start_of_one_shot(const sch_tminfo &time) {
  return {wrapped_sum(time.year, year_base), wrapped_sum(time.month, 1), time.day_of_month, time.hour, time.minute};
}

StartFields start_of_periodic(const sch_tminfo &time) {
  const time_t start = time.start_time;
  struct tm local = {};
  localtime_r(&start, &local);
  return {local.tm_year + year_base, local.tm_mon + 1, local.tm_mday, local.tm_hour, local.tm_min};
}

}  // namespace acfg
