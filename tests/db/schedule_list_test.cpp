// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>

#include "tests/db/records.h"

using namespace platform_test;
using namespace db_test;
using ::testing::ElementsAre;

namespace {

class ScheduleList : public PlatformTest {};

TEST_F(ScheduleList, entry_is_appended_with_its_service_words_zero) {
  sch_schedule_entry *first = add_schedule("a");
  sch_schedule_entry *second = add_schedule("b");
  EXPECT_THAT(items(sch_schedule_list), ElementsAre(first, second));
  EXPECT_STREQ(second->key->name, "b");
  EXPECT_NE(second->rec, nullptr);
  for (const uintptr_t word : second->service)
    EXPECT_EQ(word, 0u);
}

TEST_F(ScheduleList, duplicate_is_not_detected) {
  sch_schedule_entry *first = add_schedule("a");
  add_schedule("a");
  EXPECT_EQ(g_list_length(sch_schedule_list), 2u);
  sch_schedule_entry *found = nullptr;
  sch_find_schedule(&sch_running_config, "a", &found);
  EXPECT_EQ(found, first);
}

TEST_F(ScheduleList, exhausted_memory_refuses_and_frees_what_was_given) {
  auto *rec = static_cast<sch_schedule_rec *>(mtrack_alloc(224, 14, 144));
  sch_config_key *key = make_key("a", 0);
  fake.alloc.nth = fake.alloc.calls + 1;
  sch_schedule_entry untouched{}, *entry = &untouched;
  EXPECT_EQ(sch_add_schedule_entry(&sch_running_config, key, rec, &entry), -1);
  EXPECT_EQ(entry, &untouched);
  EXPECT_EQ(fake.live_blocks(), 0);
  EXPECT_EQ(sch_schedule_list, nullptr);
}

TEST_F(ScheduleList, find_matches_the_exact_name) {
  sch_schedule_entry *nightly = add_schedule("nightly");
  sch_schedule_entry *night = add_schedule("night");
  sch_schedule_entry *found = nullptr;
  EXPECT_EQ(sch_find_schedule(&sch_running_config, "night", &found), 0);
  EXPECT_EQ(found, night);
  EXPECT_EQ(sch_find_schedule(&sch_running_config, "nightly", &found), 0);
  EXPECT_EQ(found, nightly);
}

TEST_F(ScheduleList, find_of_no_schedule_clears_the_result_and_succeeds) {
  sch_schedule_entry other{}, *found = &other;
  EXPECT_EQ(sch_find_schedule(&sch_running_config, "a", &found), 0);
  EXPECT_EQ(found, nullptr);
  add_schedule("nightly");
  for (const char *name : {"", "nightl", "nightlyy", "NIGHTLY"}) {
    found = &other;
    EXPECT_EQ(sch_find_schedule(&sch_running_config, name, &found), 0);
    EXPECT_EQ(found, nullptr) << name;
  }
}

TEST_F(ScheduleList, find_begins_at_the_first_element_wherever_the_head_points) {
  sch_schedule_entry *first = add_schedule("a");
  add_schedule("b");
  GList *second = sch_schedule_list->next;
  const sch_config_db config = {sch_job_list, &second};
  sch_schedule_entry *found = nullptr;
  sch_find_schedule(&config, "a", &found);
  EXPECT_EQ(found, first);
}

TEST_F(ScheduleList, freed_entry_leaves_the_list_first_middle_or_last) {
  for (const guint position : {0u, 1u, 2u}) {
    std::vector<void *> kept;
    for (const char *name : {"a", "b", "c"})
      kept.push_back(add_schedule(name));
    kept.erase(kept.begin() + position);
    sch_free_schedule_entry(&sch_running_config, g_list_nth(sch_schedule_list, position));
    EXPECT_EQ(items(sch_schedule_list), kept);
    sch_free_config(&sch_running_config);
    EXPECT_EQ(fake.live_blocks(), 0);
  }
}

}  // namespace
