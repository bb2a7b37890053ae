// SPDX-License-Identifier: Apache-2.0
// A type and a time text as an operator types it: parsing, completion, verification, the next run, both printings.
// What is accepted must stand when it is printed and parsed again.
#include <cstdlib>
#include <cstring>

#include "fuzz/library.h"

namespace {

constexpr uint32_t types = 10;  // the documented ones and two beyond
constexpr time_t now = 1709210096;

void print_both(const sch_tminfo &time) {
  char generated[64] = "";
  char shown[64] = "";
  sch_acfg_print_schedule_type(&time, generated, sizeof generated);
  print_config_schedule_type(&time, shown);
}

void compute(const sch_tminfo &time) {
  sch_timeval interval = {};
  time_t next = 0;
  sch_compute_timer_interval(&time, &interval, &next);
}

void check_completion(const std::string &text, const struct tm &now_tm) {
  sch_tminfo time = {};
  if (get_start_time(text.c_str(), &time, &now_tm) != 0) return;
  if (time.type != SCH_SCHEDULE_ONESHOT || sch_verify_tminfo(&time) == SCH_ERR_INVALID_TIME) std::abort();
  print_both(time);
  compute(time);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  fuzz::reset();
  fuzz::Input input(data, size);
  const uint32_t type = input.byte() % types;
  const std::string text = input.rest();
  struct tm now_tm = {};
  localtime_r(&now, &now_tm);
  check_completion(text, now_tm);
  sch_tminfo time = {};
  sch_parse_str_to_tminfo(text.c_str(), &time);
  time.type = type;
  int32_t seconds = 0;
  print_both(time);
  if (sch_verify_tminfo(&time) != 0) return 0;
  sch_compute_delta(&time, &seconds);
  compute(time);
  return 0;
}
