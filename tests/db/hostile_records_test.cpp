// SPDX-License-Identifier: Apache-2.0
// Records that no right writer makes: without terminators, with lengths and counts that lie. A sanitizer build sees any
// access outside them; here nothing else may change.
#include <gmock/gmock.h>

#include <memory>
#include <random>

#include "diag/short_blocks.h"
#include "tests/db/records.h"

using namespace platform_test;
using namespace db_test;
using ::testing::ElementsAre;

namespace {

class HostileRecords : public PlatformTest {};

const std::string full_name(32, 'n');

TEST_F(HostileRecords, full_name_is_found) {
  add_config_entry(stored_key(1, 0, full_name), bytes_of_hdr(0, 0, 4));
  add_config_entry(stored_key(1, 1, full_name), "text");
  sch_add_runtime_job_status_entry(&sch_running_config, make_status(0, full_name));
  sch_job_entry *slot = nullptr;
  EXPECT_EQ(sch_find_job(&sch_running_config, full_name.c_str(), &slot), 0);
  EXPECT_EQ(sch_find_job(&sch_running_config, full_name.substr(1).c_str(), &slot), -1);
  EXPECT_EQ(sch_find_job(&sch_running_config, slot == nullptr ? sch_job_list[0].key->name : "", &slot), 0);
}

TEST_F(HostileRecords, full_schedule_name_is_found_by_its_own_field) {
  add_config_entry(stored_key(0, 0, full_name), "");
  auto *entry = static_cast<sch_schedule_entry *>(sch_schedule_list->data);
  sch_schedule_entry *found = nullptr;
  sch_find_schedule(&sch_running_config, entry->key->name, &found);
  EXPECT_EQ(found, entry);
}

// The record alone on the heap, without a byte behind it.
std::unique_ptr<sch_schedule_email_entry> full_entry(int32_t count, int32_t in_use) {
  auto entry = std::make_unique<sch_schedule_email_entry>();
  set_text(entry->schedule_name, full_name);
  entry->count = count;
  for (auto &slot : entry->slots) {
    set_text(slot.address, std::string(64, 'a'));
    slot.in_use = in_use;
  }
  return entry;
}

TEST_F(HostileRecords, full_addresses_match_their_beginnings_only) {
  sch_add_schedule_email_entry_from_pss(&sch_schedule_email_list, full_entry(10, 1).get());
  auto *entry = static_cast<sch_schedule_email_entry *>(sch_schedule_email_list->data);
  sch_remove_schedule_email_addr(&sch_schedule_email_list, full_name.c_str(), std::string(65, 'a').c_str());
  EXPECT_EQ(entry->count, 10);
  sch_remove_schedule_email_addr(&sch_schedule_email_list, std::string(33, 'n').c_str(), "a");
  EXPECT_EQ(entry->count, 10);
  sch_remove_schedule_email_addr(&sch_schedule_email_list, full_name.c_str(), std::string(64, 'a').c_str());
  EXPECT_EQ(entry->count, 0);
}

TEST_F(HostileRecords, full_schedule_name_is_found_among_emails_by_its_own_field) {
  sch_add_schedule_email_entry_from_pss(&sch_schedule_email_list, full_entry(1, 1).get());
  auto *stored = static_cast<sch_schedule_email_entry *>(sch_schedule_email_list->data);
  sch_schedule_email_entry *found = nullptr;
  sch_find_schedule_email_entry(&sch_schedule_email_list, full_name.c_str(), &found);
  EXPECT_EQ(found, stored);
}

TEST_F(HostileRecords, count_that_hides_full_slots_refuses_the_address) {
  for (const int32_t count : {-1, 0, 3, 11, 2147483647, -2147483647 - 1}) {
    reset_library();
    fake.reset();
    sch_add_schedule_email_entry_from_pss(&sch_schedule_email_list, full_entry(count, 1).get());
    EXPECT_EQ(sch_add_schedule_email_entry(&sch_schedule_email_list, full_name.c_str(), "b"), -1) << count;
    auto *entry = static_cast<sch_schedule_email_entry *>(sch_schedule_email_list->data);
    EXPECT_EQ(hex(entry, sizeof *entry), hex(full_entry(count, 1).get(), sizeof *entry));
  }
}

TEST_F(HostileRecords, count_of_ten_refuses_the_address_even_with_free_slots) {
  sch_add_schedule_email_entry_from_pss(&sch_schedule_email_list, full_entry(10, 0).get());
  EXPECT_EQ(sch_add_schedule_email_entry(&sch_schedule_email_list, full_name.c_str(), "b"), -1);
}

TEST_F(HostileRecords, empty_address_clears_all_ten_slots) {
  sch_schedule_email_entry stored = {};
  set_text(stored.schedule_name, "n");
  stored.count = 2;
  stored.slots[0].in_use = stored.slots[1].in_use = 1;
  sch_add_schedule_email_entry_from_pss(&sch_schedule_email_list, &stored);
  sch_remove_schedule_email_addr(&sch_schedule_email_list, "n", "");
  EXPECT_EQ(static_cast<sch_schedule_email_entry *>(sch_schedule_email_list->data)->count, -8);
}

std::string joined(int32_t length) {
  std::vector<char> text(static_cast<size_t>(length), '.');
  EXPECT_EQ(sch_concat_fragments(sch_job_list[0].fragments, text.data(), length), 0);
  return std::string(text.begin(), text.end());
}

std::string zeros(size_t count) {
  return std::string(count, '\0');
}

TEST_F(HostileRecords, fragments_shorter_than_their_header_announces_are_kept_exactly_and_joined_with_zero_behind) {
  add_config_entry(stored_key(1, 0, "j"), bytes_of_hdr(0, 0, 3000));
  add_config_entry(stored_key(1, 1, "j"), "ab\ncd");
  add_config_entry(stored_key(1, 2, "j"), "");
  add_config_entry(stored_key(1, 3, "j"), std::string(900, 'z'));
  EXPECT_THAT(fake.calls_with("mtrack_alloc 224 7"),
              ElementsAre("mtrack_alloc 224 7 5", "mtrack_alloc 224 7 0", "mtrack_alloc 224 7 900"));
  EXPECT_THAT(fake.calls_with("mtrack_free"), ElementsAre("mtrack_free 5", "mtrack_free 5", "mtrack_free 5"));
  EXPECT_EQ(joined(3000), "ab\ncd" + zeros(1019 + 1024) + std::string(900, 'z') + zeros(52));
  std::vector<char> line(3000);
  EXPECT_EQ(sch_show_run_concat_fragments(sch_job_list[0].fragments, line.data(), 3000), 0);
  EXPECT_STREQ(line.data(), "ab;cd");
}

TEST_F(HostileRecords, fragments_behind_the_announced_text_keep_their_size) {
  for (const uint32_t length : {0u, 1u, 1024u}) {
    reset_library();
    fake.reset();
    add_config_entry(stored_key(1, 0, "j"), bytes_of_hdr(0, 0, length));
    add_config_entry(stored_key(1, 1, "j"), std::string(1024, 'a'));
    add_config_entry(stored_key(1, 2, "j"), "b");
    EXPECT_THAT(fake.calls_with("mtrack_alloc 224 7"), ElementsAre("mtrack_alloc 224 7 1024", "mtrack_alloc 224 7 1"));
  }
}

TEST_F(HostileRecords, announced_length_of_any_size_reads_no_more_than_the_fragment) {
  for (const uint32_t length : {1025u, 2048u, 0x7fffffffu, 0x80000000u, 0xffffffffu}) {
    reset_library();
    fake.reset();
    add_config_entry(stored_key(1, 0, "j"), bytes_of_hdr(0, 0, length));
    add_config_entry(stored_key(1, 1, "j"), std::string(1023, 'a'));
    EXPECT_THAT(fake.calls_with("mtrack_alloc 224 7"), ElementsAre("mtrack_alloc 224 7 1023"));
    EXPECT_EQ(sch_job_list[0].hdr->length, length);
    EXPECT_EQ(joined(1025), std::string(1023, 'a') + zeros(1) + ".");
  }
}

TEST_F(HostileRecords, fragment_of_a_job_that_lacks_its_header_keeps_its_size) {
  sch_job_list[0].key = make_key("j");
  add_config_entry(stored_key(1, 1, "j"), "ab");
  EXPECT_EQ(fake.calls_with("mtrack_alloc 224 7"), std::vector<std::string>{"mtrack_alloc 224 7 2"});
}

// The text of a job that got a header for `first` bytes, a fragment, and then a header for `second` bytes.
std::string text_after(uint32_t first, size_t fragment, uint32_t second) {
  reset_library();
  fake.reset();
  add_config_entry(stored_key(1, 0, "j"), bytes_of_hdr(0, 0, first));
  add_config_entry(stored_key(1, 1, "j"), std::string(fragment, 'a'));
  add_config_entry(stored_key(1, 0, "j"), bytes_of_hdr(0, 0, second));
  EXPECT_EQ(sch_job_list[0].hdr->length, second) << "the record is taken as it is";
  return joined(static_cast<int32_t>(std::min(second, 1100u)));
}

TEST_F(HostileRecords, later_header_reads_no_more_than_its_fragments_hold) {
  const std::string full(1024, 'a'), behind(76, '.');
  EXPECT_EQ(text_after(2, 2, 0xffffffff), "aa" + zeros(1022) + behind);
  EXPECT_EQ(text_after(1023, 5, 1024), "aaaaa" + zeros(1019));
  EXPECT_EQ(text_after(0, 0, 1), zeros(1));
  EXPECT_EQ(text_after(2, 2, 1), "a");
  EXPECT_EQ(text_after(2, 2, 2), "aa");
  EXPECT_EQ(text_after(1024, 1024, 0xffffffff), full + behind);
  EXPECT_EQ(text_after(4000, 5, 5000), "aaaaa" + zeros(1019) + behind);
}

TEST_F(HostileRecords, header_behind_a_fragment_that_had_none_reads_no_more_than_it_holds) {
  sch_job_list[0].key = make_key("j");
  add_config_entry(stored_key(1, 1, "j"), "ab");
  add_config_entry(stored_key(1, 0, "j"), bytes_of_hdr(0, 0, 5));
  EXPECT_EQ(joined(5), "ab" + zeros(3));
}

TEST_F(HostileRecords, second_fragment_of_two_is_bound_by_its_place) {
  add_config_entry(stored_key(1, 0, "j"), bytes_of_hdr(0, 0, 1030));
  add_config_entry(stored_key(1, 1, "j"), std::string(1024, 'a'));
  add_config_entry(stored_key(1, 2, "j"), "abcdef");
  add_config_entry(stored_key(1, 0, "j"), bytes_of_hdr(0, 0, 1032));
  EXPECT_EQ(joined(1032), std::string(1024, 'a') + "abcdef" + zeros(2));
}

// A short fragment is remembered by its address, which a later fragment may get.
TEST_F(HostileRecords, place_of_a_short_fragment_is_whole_for_the_one_that_takes_it_next) {
  add_config_entry(stored_key(1, 0, "j"), bytes_of_hdr(0, 0, 4));
  char *place = make_fragment("text");
  note_short_block(place, 2);
  sch_job_entry *slot = nullptr;
  sch_add_job_data(&sch_running_config, make_key("j", 1, 1), place, &slot);
  EXPECT_EQ(joined(4), "text");
}

TEST_F(HostileRecords, later_header_is_taken_as_it_is_while_there_is_no_fragment) {
  add_config_entry(stored_key(1, 0, "j"), bytes_of_hdr(0, 0, 2));
  add_config_entry(stored_key(1, 0, "j"), bytes_of_hdr(0, 0, 3));
  EXPECT_EQ(sch_job_list[0].hdr->length, 3u);
}

// Seeded, so that a failure repeats.
TEST_F(HostileRecords, random_records_in_any_order_leave_a_usable_database) {
  std::mt19937 random(20240229);
  const auto below = [&](uint32_t limit) { return static_cast<uint32_t>(random() % limit); };
  const uint32_t lengths[] = {0, 1, 3, 1023, 1024, 1025, 4000, 0x7fffffff, 0x80000000, 0xffffffff};
  for (int round = 0; round < 3000; ++round) {
    std::string key = stored_key(below(3), below(4), std::string(1 + below(34), static_cast<char>('a' + below(3))));
    key.resize(below(50));
    std::string value(below(1100), static_cast<char>(below(256)));
    if (below(2) == 0) value = bytes_of_hdr(below(260), 0, lengths[below(10)]) + value.substr(0, below(4));
    EXPECT_EQ(add_config_entry(key, value), 0);
  }
  int index = 0;
  for (; const sch_job_entry *slot = sch_next_job(&sch_running_config, &index); ++index) {
    std::vector<char> text(4096);
    sch_concat_fragments(slot->fragments, text.data(), static_cast<int32_t>(std::min(slot->hdr->length, 4096u)));
  }
  sch_free_config(&sch_running_config);
  EXPECT_EQ(sch_schedule_list, nullptr);
  EXPECT_EQ(fake.live[7], 0);
}

}  // namespace
