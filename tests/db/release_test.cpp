// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>

#include "tests/db/records.h"

using namespace platform_test;
using namespace db_test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

class Release : public PlatformTest {};

void expect_free(const sch_job_entry &slot) {
  EXPECT_EQ(slot.reserved, 0u);
  EXPECT_EQ(slot.key, nullptr);
  EXPECT_EQ(slot.hdr, nullptr);
  EXPECT_EQ(slot.fragments, nullptr);
  EXPECT_EQ(slot.status_list, nullptr);
}

sch_job_entry *full_job(uint32_t job_id, const std::string &name) {
  sch_job_entry *slot = add_job(job_id, name, 8);
  sch_job_entry *found = nullptr;
  sch_add_job_data(&sch_running_config, make_key(name, 1, 1), make_fragment("text"), &found);
  sch_add_job_data(&sch_running_config, make_key(name, 1, 2), make_fragment("more"), &found);
  sch_add_runtime_job_status_entry(&sch_running_config, make_status(job_id));
  return slot;
}

TEST_F(Release, job_goes_with_all_it_owns) {
  sch_job_entry *slot = full_job(3, "backup");
  slot->reserved = 17;
  sch_free_job_entry(slot);
  EXPECT_EQ(fake.live_blocks(), 0);
  expect_free(*slot);
}

TEST_F(Release, job_without_header_or_lists_goes) {
  sch_job_list[0].key = make_key("bare");
  sch_free_job_entry(&sch_job_list[0]);
  EXPECT_EQ(fake.live_blocks(), 0);
  expect_free(sch_job_list[0]);
}

TEST_F(Release, free_slot_stays_free) {
  sch_free_job_entry(&sch_job_list[0]);
  expect_free(sch_job_list[0]);
}

TEST_F(Release, fragment_callback_ignores_its_second_argument) {
  int other = 0;
  free_fragment(make_fragment("x"), &other);
  free_fragment(make_fragment("x"), nullptr);
  EXPECT_EQ(fake.live_blocks(), 0);
  fake.calls.clear();
  free_fragment(nullptr, nullptr);
  EXPECT_THAT(fake.calls, ElementsAre("mtrack_free null"));
}

TEST_F(Release, slot_is_used_again_after_its_job_went) {
  sch_free_job_entry(full_job(3, "backup"));
  sch_job_entry *slot = full_job(3, "again");
  EXPECT_STREQ(slot->key->name, "again");
  EXPECT_EQ(g_list_length(slot->fragments), 2u);
}

TEST_F(Release, configuration_goes_whole) {
  full_job(0, "first");
  full_job(255, "last");
  for (const char *name : {"a", "b", "c"})
    add_schedule(name);
  sch_free_config(&sch_running_config);
  EXPECT_EQ(fake.live_blocks(), 0);
  EXPECT_EQ(sch_schedule_list, nullptr);
  for (const auto &slot : sch_job_list)
    expect_free(slot);
}

TEST_F(Release, empty_configuration_stays_empty) {
  sch_free_config(&sch_running_config);
  EXPECT_THAT(fake.calls, IsEmpty());
}

TEST_F(Release, slot_without_key_is_not_in_use_and_stays) {
  sch_job_list[4].hdr = make_hdr(4);
  sch_free_config(&sch_running_config);
  EXPECT_EQ(fake.live[6], 1);
}

TEST_F(Release, email_list_and_other_configuration_are_not_touched) {
  sch_add_new_schedule_email_entry(&sch_schedule_email_list, "nightly", "a@b");
  full_job(1, "kept");
  sch_free_config(&sch_startup_config);
  EXPECT_NE(sch_job_list[1].key, nullptr);
  sch_free_config(&sch_running_config);
  EXPECT_EQ(g_list_length(sch_schedule_email_list), 1u);
  EXPECT_EQ(fake.live_blocks(), 1);
}

}  // namespace
