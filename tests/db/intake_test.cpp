// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>

#include "tests/db/records.h"

using namespace platform_test;
using namespace db_test;
using ::testing::ElementsAre;
using ::testing::Pair;

namespace {

class Intake : public PlatformTest {};

std::string pattern(size_t size) {
  std::string bytes(size, '\0');
  for (size_t i = 0; i < size; ++i)
    bytes[i] = static_cast<char>(i * 7 + 1);
  return bytes;
}

sch_schedule_entry *first_schedule() {
  return static_cast<sch_schedule_entry *>(sch_schedule_list->data);
}

TEST_F(Intake, schedule_enters_the_list_with_its_record_byte_for_byte) {
  const std::string value = pattern(144);
  EXPECT_EQ(add_config_entry(stored_key(0, 0, "nightly"), value), 0);
  ASSERT_EQ(g_list_length(sch_schedule_list), 1u);
  EXPECT_EQ(first_schedule()->key->type, SCH_CONFIG_SCHEDULE);
  EXPECT_STREQ(first_schedule()->key->name, "nightly");
  EXPECT_EQ(hex(first_schedule()->rec, 144), hex(value.data(), 144));
  for (const uintptr_t word : first_schedule()->service)
    EXPECT_EQ(word, 0u);
}

TEST_F(Intake, schedule_key_is_in_host_order_and_keeps_its_fragment_number) {
  add_config_entry(stored_key(0, 0x01020304, "nightly"), pattern(144));
  EXPECT_EQ(first_schedule()->key->fragment, 0x01020304u);
}

TEST_F(Intake, schedule_values_of_other_lengths_are_cut_or_zero_filled) {
  for (const size_t size : {0u, 1u, 143u, 144u, 145u, 5000u}) {
    reset_library();
    fake.reset();
    const std::string value = pattern(size);
    EXPECT_EQ(add_config_entry(stored_key(0, 0, "s"), value), 0);
    std::string expected = value;
    expected.resize(144);
    EXPECT_EQ(hex(first_schedule()->rec, 144), hex(expected.data(), 144)) << size;
  }
}

TEST_F(Intake, job_header_takes_the_slot_of_its_id) {
  EXPECT_EQ(add_config_entry(stored_key(1, 0, "backup"), bytes_of_hdr(7, 9, 13)), 0);
  ASSERT_NE(sch_job_list[7].hdr, nullptr);
  EXPECT_STREQ(sch_job_list[7].key->name, "backup");
  EXPECT_EQ(sch_job_list[7].key->type, SCH_CONFIG_JOB);
  EXPECT_EQ(sch_job_list[7].hdr->job_id, 7u);
  EXPECT_EQ(sch_job_list[7].hdr->carried, 9u);
  EXPECT_EQ(sch_job_list[7].hdr->length, 13u);
}

TEST_F(Intake, header_values_of_other_lengths_are_cut_or_zero_filled) {
  add_config_entry(stored_key(1, 0, "long"), bytes_of_hdr(1, 2, 3) + "surplus");
  add_config_entry(stored_key(1, 0, "short"), bytes_of_hdr(2, 5, 6).substr(0, 7));
  add_config_entry(stored_key(1, 0, "none"), "");
  EXPECT_EQ(sch_job_list[1].hdr->length, 3u);
  EXPECT_EQ(sch_job_list[2].hdr->carried, 5u);
  EXPECT_EQ(sch_job_list[2].hdr->length, 0u);
  EXPECT_STREQ(sch_job_list[0].key->name, "none");
}

TEST_F(Intake, fragment_is_allocated_exactly_and_appended_whole) {
  add_config_entry(stored_key(1, 0, "backup"), bytes_of_hdr(0, 0, 2000));
  fake.calls.clear();
  const std::string first = pattern(1024), second = pattern(976);
  EXPECT_EQ(add_config_entry(stored_key(1, 1, "backup"), first), 0);
  EXPECT_EQ(add_config_entry(stored_key(1, 2, "backup"), second), 0);
  const auto fragments = items(sch_job_list[0].fragments);
  ASSERT_EQ(fragments.size(), 2u);
  EXPECT_EQ(hex(fragments[0], 1024), hex(first.data(), 1024));
  EXPECT_EQ(hex(fragments[1], 976), hex(second.data(), 976));
}

TEST_F(Intake, fragments_keep_their_order_of_arrival_whatever_their_numbers) {
  add_config_entry(stored_key(1, 0, "backup"), bytes_of_hdr(0, 0, 3));
  add_config_entry(stored_key(1, 3, "backup"), "c");
  add_config_entry(stored_key(1, 1, "backup"), "a");
  add_config_entry(stored_key(1, 0xffffffff, "backup"), "z");
  std::string order;
  for (const void *fragment : items(sch_job_list[0].fragments))
    order += *static_cast<const char *>(fragment);
  EXPECT_EQ(order, "caz");
}

TEST_F(Intake, fragment_larger_than_any_is_taken_whole) {
  add_config_entry(stored_key(1, 0, "backup"), bytes_of_hdr(0, 0, 3000));
  const std::string value = pattern(3000);
  EXPECT_EQ(add_config_entry(stored_key(1, 1, "backup"), value), 0);
  EXPECT_EQ(hex(sch_job_list[0].fragments->data, 3000), hex(value.data(), 3000));
}

TEST_F(Intake, empty_fragment_is_appended) {
  add_config_entry(stored_key(1, 0, "backup"), bytes_of_hdr(0, 0, 0));
  EXPECT_EQ(add_config_entry(stored_key(1, 1, "backup"), ""), 0);
  EXPECT_EQ(g_list_length(sch_job_list[0].fragments), 1u);
}

TEST_F(Intake, fragment_before_its_header_is_dropped_and_success_reported) {
  EXPECT_EQ(add_config_entry(stored_key(1, 1, "backup"), "text"), 0);
  EXPECT_EQ(fake.live_blocks(), 0);
  EXPECT_EQ(sch_first_empty_job_list_entry_index(&sch_running_config), 0);
}

TEST_F(Intake, header_of_an_id_out_of_range_is_dropped_and_success_reported) {
  EXPECT_EQ(add_config_entry(stored_key(1, 0, "backup"), bytes_of_hdr(256, 0, 0)), 0);
  EXPECT_EQ(fake.live_blocks(), 0);
}

TEST_F(Intake, other_types_add_nothing_and_leave_the_key_allocated) {
  for (const uint32_t type : {2u, 3u, 4u, 5u, 6u, 7u, 8u, 9u, 255u, 0x01000000u, 0xffffffffu}) {
    fake.reset();
    EXPECT_EQ(add_config_entry(stored_key(type, 0, "x"), pattern(144)), 0);
    EXPECT_THAT(fake.calls, ElementsAre("mtrack_alloc 224 5 40")) << type;
    EXPECT_THAT(fake.live, ElementsAre(Pair(5, 1)));
    EXPECT_EQ(sch_schedule_list, nullptr);
  }
}

TEST_F(Intake, keys_of_other_lengths_are_cut_or_zero_filled) {
  add_config_entry(stored_key(0, 0, "nightly") + "surplus", pattern(144));
  EXPECT_STREQ(first_schedule()->key->name, "nightly");
  EXPECT_EQ(add_config_entry(stored_key(0, 0, "daily").substr(0, 11), pattern(144)), 0);
  EXPECT_STREQ(static_cast<sch_schedule_entry *>(sch_schedule_list->next->data)->key->name, "dai");
  EXPECT_EQ(add_config_entry("", pattern(144)), 0);
  EXPECT_STREQ(static_cast<sch_schedule_entry *>(sch_schedule_list->next->next->data)->key->name, "");
}

TEST_F(Intake, either_configuration_takes_records) {
  add_config_entry(stored_key(0, 0, "nightly"), pattern(144), &sch_startup_config);
  add_config_entry(stored_key(1, 0, "backup"), bytes_of_hdr(255, 0, 0), &sch_startup_config);
  EXPECT_EQ(sch_schedule_list, nullptr);
  EXPECT_EQ(g_list_length(startup_schedule_list), 1u);
  EXPECT_STREQ(startup_job_list[255].key->name, "backup");
  EXPECT_EQ(sch_job_list[255].key, nullptr);
}

TEST_F(Intake, exhausted_memory_fails_and_frees_nothing_of_the_call) {
  const struct {
    const char *what;
    uint32_t type, fragment;
    int nth;
    int left;  // live blocks
  } rows[] = {
      {"key", 0, 0, 1, 0},
      {"schedule", 0, 0, 2, 1},
      {"header", 1, 0, 2, 1},
      {"fragment", 1, 1, 2, 1},
  };
  for (const auto &row : rows) {
    fake.reset();
    fake.alloc.nth = row.nth;
    EXPECT_EQ(add_config_entry(stored_key(row.type, row.fragment, "x"), "value"), -1) << row.what;
    EXPECT_EQ(fake.live_blocks(), row.left) << row.what;
    EXPECT_EQ(sch_schedule_list, nullptr);
    EXPECT_EQ(sch_job_list[0].key, nullptr);
  }
}

TEST_F(Intake, schedule_whose_entry_cannot_be_allocated_is_dropped_and_success_reported) {
  fake.alloc.nth = 3;
  EXPECT_EQ(add_config_entry(stored_key(0, 0, "nightly"), pattern(144)), 0);
  EXPECT_EQ(fake.live_blocks(), 0);
  EXPECT_EQ(sch_schedule_list, nullptr);
}

}  // namespace
