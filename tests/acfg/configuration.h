// SPDX-License-Identifier: Apache-2.0
// A configuration in memory, built as a restore does, and one in the startup stores.
#pragma once

#include <cstring>
#include <string>
#include <vector>

#include "tests/platform/platform.h"

namespace acfg_test {

using Lines = std::vector<std::string>;

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
Lines lines();

// The stores of the startup configuration: one job, one schedule of it with an address, sender, log file of 32 KiB, the
// feature disabled; and logging level 7.
inline constexpr char startup_uri[] = "startup:scheduler_startup",
                      debug_uri[] = "startup-debug:scheduler_debug_startup";
void hold_configuration();
void hold_level(const std::string &uri, const std::string &value_hex = "01000000 07000000");
inline constexpr char configuration_text[] =
    "feature scheduler\nscheduler logfile size 32\n\nscheduler transport email from a@b\n"
    "scheduler job name backup\ncopy\nend-job\n\n"
    "scheduler schedule name nightly\njob name backup\n  time daily 23:30\nemail-addr ops@b\n\n";

// The configuration manager asks for a configuration of this type.
inline constexpr int running = 1, startup = 2, unknown_type = 3;
int request(int type);

}  // namespace acfg_test
