// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>

#include "tests/db/records.h"

using namespace platform_test;
using namespace db_test;
using ::testing::ElementsAre;

namespace {

class JobTable : public PlatformTest {
 protected:
  sch_job_entry *slot_ = &untouched_;
  sch_job_entry untouched_{};
};

TEST_F(JobTable, header_chooses_its_slot_by_job_id) {
  for (const uint32_t job_id : {0u, 1u, 255u}) {
    fake.reset();
    sch_config_key *key = make_key("backup");
    sch_job_hdr *hdr = make_hdr(job_id);
    EXPECT_EQ(sch_add_job_hdr(&sch_running_config, key, hdr, &slot_), 0);
    EXPECT_EQ(slot_, &sch_job_list[job_id]);
    EXPECT_EQ(slot_->key, key);
    EXPECT_EQ(slot_->hdr, hdr);
    EXPECT_EQ(slot_->reserved, 0u);
    EXPECT_EQ(fake.live_blocks(), 2);
    sch_free_job_entry(slot_);
  }
}

TEST_F(JobTable, header_out_of_range_is_freed_with_its_key) {
  for (const uint32_t job_id : {256u, 257u, 0x80000000u, 0xffffffffu}) {
    fake.reset();
    EXPECT_EQ(sch_add_job_hdr(&sch_running_config, make_key("backup"), make_hdr(job_id), &slot_), -1);
    EXPECT_EQ(fake.live_blocks(), 0);
    EXPECT_EQ(slot_, &untouched_);
  }
}

TEST_F(JobTable, second_header_of_an_id_keeps_the_first_key_and_leaks_the_first_header) {
  add_job(3, "first", 10);
  sch_job_hdr *first_hdr = sch_job_list[3].hdr, *second_hdr = make_hdr(3, 20);
  EXPECT_EQ(sch_add_job_hdr(&sch_running_config, make_key("second"), second_hdr, &slot_), 0);
  EXPECT_EQ(slot_, &sch_job_list[3]);
  EXPECT_STREQ(slot_->key->name, "first");
  EXPECT_EQ(slot_->hdr, second_hdr);
  EXPECT_EQ(fake.live[5], 1);
  EXPECT_EQ(fake.live[6], 2);  // the first header is meant to stay
  mtrack_free(first_hdr);
  sch_free_job_entry(slot_);
  EXPECT_EQ(fake.live_blocks(), 0);
}

TEST_F(JobTable, header_completes_a_slot_that_has_a_key_only) {
  sch_job_list[9].key = make_key("backup");
  sch_job_hdr *hdr = make_hdr(9);
  EXPECT_EQ(sch_add_job_hdr(&sch_running_config, make_key("other"), hdr, &slot_), 0);
  EXPECT_EQ(sch_job_list[9].hdr, hdr);
  EXPECT_STREQ(sch_job_list[9].key->name, "backup");
}

TEST_F(JobTable, fragment_finds_its_slot_by_name_and_its_key_is_freed) {
  add_job(4, "other");
  add_job(5, "backup");
  char *first = make_fragment("one"), *second = make_fragment("two");
  EXPECT_EQ(sch_add_job_data(&sch_running_config, make_key("backup", 1, 1), first, &slot_), 0);
  EXPECT_EQ(slot_, &sch_job_list[5]);
  EXPECT_EQ(sch_add_job_data(&sch_running_config, make_key("backup", 1, 2), second, &slot_), 0);
  EXPECT_THAT(items(sch_job_list[5].fragments), ElementsAre(first, second));
  EXPECT_EQ(fake.live[5], 2);
  EXPECT_EQ(fake.live[7], 2);
}

TEST_F(JobTable, fragment_of_the_first_of_two_jobs_of_one_name_goes_to_the_lowest_slot) {
  add_job(8, "twin");
  add_job(2, "twin");
  sch_add_job_data(&sch_running_config, make_key("twin", 1, 1), make_fragment("x"), &slot_);
  EXPECT_EQ(slot_, &sch_job_list[2]);
}

TEST_F(JobTable, fragment_of_no_job_is_freed_silently) {
  add_job(5, "backup");
  for (const char *name : {"backu", "backup2", "Backup", ""}) {
    EXPECT_EQ(sch_add_job_data(&sch_running_config, make_key(name, 1, 1), make_fragment("x"), &slot_), -1);
    EXPECT_EQ(slot_, &untouched_);
  }
  EXPECT_EQ(fake.live[7], 0);
  EXPECT_EQ(fake.live[5], 1);
}

TEST_F(JobTable, status_is_appended_to_the_slot_of_its_job_id) {
  add_job(255, "backup");
  sch_runtime_job_status *first = make_status(255), *second = make_status(255, "daily");
  EXPECT_EQ(sch_add_runtime_job_status_entry(&sch_running_config, first), 0);
  EXPECT_EQ(sch_add_runtime_job_status_entry(&sch_running_config, second), 0);
  EXPECT_THAT(items(sch_job_list[255].status_list), ElementsAre(first, second));
}

TEST_F(JobTable, status_of_an_id_out_of_range_is_freed_silently) {
  for (const uint32_t job_id : {256u, 0xffffffffu}) {
    EXPECT_EQ(sch_add_runtime_job_status_entry(&sch_running_config, make_status(job_id)), -1);
    EXPECT_EQ(fake.live_blocks(), 0);
    EXPECT_THAT(fake.calls_with("mtrack_free"), ElementsAre("mtrack_free 4"));
    fake.calls.clear();
  }
}

TEST_F(JobTable, status_of_an_unused_slot_is_freed_with_a_trace) {
  EXPECT_EQ(sch_add_runtime_job_status_entry(&sch_running_config, make_status(0)), -1);
  EXPECT_EQ(fake.live_blocks(), 0);
  EXPECT_THAT(fake.calls_with("mtrack_free"), ElementsAre("mtrack_free 4"));
}

TEST_F(JobTable, first_empty_slot_is_the_lowest_and_traced) {
  EXPECT_EQ(sch_first_empty_job_list_entry_index(&sch_running_config), 0);
  add_job(0, "a");
  add_job(1, "b");
  add_job(3, "d");
  EXPECT_EQ(sch_first_empty_job_list_entry_index(&sch_running_config), 2);
}

TEST_F(JobTable, last_slot_is_found_and_a_full_table_has_none) {
  for (uint32_t i = 0; i < 255; ++i)
    add_job(i, "job" + std::to_string(i));
  EXPECT_EQ(sch_first_empty_job_list_entry_index(&sch_running_config), 255);
  add_job(255, "last");
  EXPECT_EQ(sch_first_empty_job_list_entry_index(&sch_running_config), -1);
  EXPECT_EQ(fake.traces().back(), "job last key added") << "which is no trace";
}

TEST_F(JobTable, job_is_found_by_its_exact_name) {
  add_job(0, "a");
  add_job(200, "backup");
  EXPECT_EQ(sch_find_job(&sch_running_config, "backup", &slot_), 200);
  EXPECT_EQ(slot_, &sch_job_list[200]);
  EXPECT_EQ(sch_find_job(&sch_running_config, "a", &slot_), 0);
  EXPECT_EQ(slot_, &sch_job_list[0]);
}

TEST_F(JobTable, job_not_found_clears_the_result) {
  add_job(200, "backup");
  for (const char *name : {"", "backu", "backupp", "BACKUP"}) {
    slot_ = &untouched_;
    EXPECT_EQ(sch_find_job(&sch_running_config, name, &slot_), -1);
    EXPECT_EQ(slot_, nullptr);
  }
}

TEST_F(JobTable, walk_visits_the_used_slots_in_order) {
  for (const uint32_t job_id : {0u, 7u, 255u})
    add_job(job_id, "j");
  std::vector<int> visited;
  int index = 0;
  while (const sch_job_entry *slot = sch_next_job(&sch_running_config, &index)) {
    EXPECT_EQ(slot, &sch_job_list[index]);
    visited.push_back(index++);
  }
  EXPECT_THAT(visited, ElementsAre(0, 7, 255));
  EXPECT_EQ(index, -1);
}

TEST_F(JobTable, walk_starts_at_any_index) {
  add_job(7, "j");
  const struct {
    int from, expected;
  } rows[] = {{7, 7}, {6, 7}, {8, -1}, {255, -1}, {256, -1}, {2147483647, -1}, {-1, 7}, {-2147483647 - 1, 7}};
  for (const auto &row : rows) {
    int index = row.from;
    const sch_job_entry *slot = sch_next_job(&sch_running_config, &index);
    EXPECT_EQ(index, row.expected) << row.from;
    EXPECT_EQ(slot, row.expected < 0 ? nullptr : &sch_job_list[7]);
  }
}

TEST_F(JobTable, walk_from_a_negative_index_begins_with_the_first_slot) {
  add_job(0, "first");
  int index = -5;
  EXPECT_EQ(sch_next_job(&sch_running_config, &index), &sch_job_list[0]);
  EXPECT_EQ(index, 0);
}

TEST_F(JobTable, configurations_are_separate) {
  add_job(7, "running");
  EXPECT_EQ(sch_find_job(&sch_startup_config, "running", &slot_), -1);
  int index = 0;
  EXPECT_EQ(sch_next_job(&sch_startup_config, &index), nullptr);
}

}  // namespace
