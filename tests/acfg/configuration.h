// SPDX-License-Identifier: Apache-2.0
// Building a configuration in memory as a restore does.
#pragma once

#include <cstring>
#include <string>
#include <vector>

#include "tests/platform/platform.h"

namespace acfg_test {

// A job whose text lies in fragments of 1024 bytes.
sch_job_entry *add_job(sch_config_db *config, uint32_t id, const std::string &name, const std::string &text);

sch_schedule_entry *add_schedule(sch_config_db *config, const std::string &name, const sch_tminfo &time,
                                 const std::vector<int> &jobs = {});

template <size_t Size>
void put(char (&field)[Size], const std::string &text) {
  std::memset(field, 0, Size);
  text.copy(field, Size);
}

inline sch_tminfo daily(int32_t hour, int32_t minute) {
  return {3, hour, 0, 0, minute, 0, 0, 0, 0};
}

// A line of the handle as "element indent text".
std::vector<std::string> lines();

}  // namespace acfg_test
