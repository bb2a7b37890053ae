// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>

#include "tests/platform/platform.h"

using namespace platform_test;

namespace {

class Globals : public PlatformTest {};

// Before any fixture runs: as the loader leaves them.
const sch_config_db running_at_load = sch_running_config;
const sch_config_db startup_at_load = sch_startup_config;
const bool slots_at_load_are_zero = [] {
  for (int i = 0; i < SCH_MAX_JOBS; ++i)
    for (const sch_job_entry *slot : {&sch_job_list[i], &startup_job_list[i]})
      if (slot->reserved != 0 || slot->key != nullptr || slot->hdr != nullptr || slot->fragments != nullptr ||
          slot->status_list != nullptr)
        return false;
  return true;
}();

TEST_F(Globals, configurations_point_at_their_tables_and_lists) {
  EXPECT_EQ(running_at_load.jobs, sch_job_list);
  EXPECT_EQ(running_at_load.schedules, &sch_schedule_list);
  EXPECT_EQ(startup_at_load.jobs, startup_job_list);
  EXPECT_EQ(startup_at_load.schedules, &startup_schedule_list);
}

TEST_F(Globals, tables_and_lists_are_empty_at_load) {
  EXPECT_TRUE(slots_at_load_are_zero);
  EXPECT_EQ(sch_schedule_list, nullptr);
  EXPECT_EQ(startup_schedule_list, nullptr);
  EXPECT_EQ(sch_schedule_email_list, nullptr);
  EXPECT_EQ(sizeof sch_job_list / sizeof sch_job_list[0], 256u);
  EXPECT_EQ(sizeof startup_job_list / sizeof startup_job_list[0], 256u);
}

TEST_F(Globals, limits_are_the_documented_ones) {
  EXPECT_EQ(SCH_MAX_JOBS, 256);
  EXPECT_EQ(SCH_FRAGMENT_SIZE, 1024);
  EXPECT_EQ(SCH_MAX_EMAIL_IDS, 10);
  EXPECT_EQ(SCH_CONFIG_SCHEDULE, 0u);
  EXPECT_EQ(SCH_CONFIG_JOB, 1u);
}

TEST_F(Globals, logging_key_is_the_four_bytes_of_22_in_host_order) {
  const pss_buf *key = sch_get_syslog_pss_key();
  ASSERT_NE(key, nullptr);
  EXPECT_EQ(hex(key->data, key->length), "16000000");
  EXPECT_EQ(sch_get_syslog_pss_key(), key);
}

TEST_F(Globals, logging_key_is_whole_again_after_a_caller_changed_the_buffer) {
  auto *key = const_cast<pss_buf *>(sch_get_syslog_pss_key());
  *key = {nullptr, 0};
  sch_get_syslog_pss_key();
  EXPECT_EQ(hex(key->data, key->length), "16000000");
}

}  // namespace
