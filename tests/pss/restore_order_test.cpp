// SPDX-License-Identifier: Apache-2.0
// Walks of stores that give their keys in another order than that of the bytes, or whose cursors keep an old error.
#include <gmock/gmock.h>

#include <algorithm>

#include "tests/pss/records.h"

using namespace pss_test;
using testing::ElementsAre;

namespace {

class RestoreOrderTest : public OpenStoreTest {
 protected:
  // A record whose key the walk gives at this place.
  void give(const std::string &key, const std::string &value) { fake.walk.emplace_back(unhex(key), unhex(value)); }
  static std::string header(int slot, size_t length) {
    const sch_job_hdr hdr = {static_cast<uint32_t>(slot), 0, static_cast<uint32_t>(length)};
    return hex(&hdr, sizeof hdr);
  }
  static std::string piece(const std::string &text, uint32_t number) {
    const std::string bytes = text.substr((number - 1) * SCH_FRAGMENT_SIZE, SCH_FRAGMENT_SIZE);
    return hex(bytes.data(), bytes.size());
  }
  void restore() { EXPECT_EQ(sch_restore_config_from_pss(&sch_running_config, store), 0); }

  static std::string text_of(int slot) {
    const sch_job_entry &job = sch_job_list[slot];
    std::string text(job.hdr->length, '\0');
    sch_concat_fragments(job.fragments, text.data(), static_cast<int32_t>(text.size()));
    return text;
  }
};

constexpr size_t long_size = 2500;  // three fragments

TEST_F(RestoreOrderTest, fragments_of_a_job_are_put_in_the_order_of_their_numbers) {
  const std::string text = job_text(long_size);
  std::vector<uint32_t> numbers = {0, 1, 2, 3};
  do {
    SCOPED_TRACE(testing::PrintToString(numbers));
    platform_test::reset_library();
    fake.reset();
    store = open_store();
    for (const uint32_t n : numbers)
      give(key_hex(1, n, "job"), n == 0 ? header(5, long_size) : piece(text, n));
    restore();
    EXPECT_EQ(text_of(5), text);
    EXPECT_EQ(g_list_length(sch_job_list[5].fragments), 3u);
    EXPECT_EQ(fake.live[7], 3) << "what was appended in the wrong order is given back";
  } while (std::next_permutation(numbers.begin(), numbers.end()));
}

TEST_F(RestoreOrderTest, what_lies_behind_the_job_table_is_left_alone) {
  char behind = 'b';
  sch_job_entry table[SCH_MAX_JOBS + 1] = {};
  GList element = {&behind, nullptr, nullptr};
  table[SCH_MAX_JOBS].fragments = &element;
  GList *schedules = nullptr;
  sch_config_db config = {table, &schedules};
  give(key_hex(1, 1, "job"), piece("text\n", 1));
  give(key_hex(1, 0, "job"), header(0, 5));
  EXPECT_EQ(sch_restore_config_from_pss(&config, store), 0);
  EXPECT_EQ(g_list_length(table[0].fragments), 1u);
  EXPECT_EQ(table[SCH_MAX_JOBS].fragments, &element);
  sch_free_job_entry(&table[0]);
}

TEST_F(RestoreOrderTest, jobs_that_lie_in_each_other_keep_their_own_texts) {
  const std::string first = job_text(long_size), second = std::string(2048, 'b'), third = "c\n";
  give(key_hex(1, 2, "first"), piece(first, 2));
  give(key_hex(1, 2, "second"), piece(second, 2));
  give(key_hex(1, 0, "second"), header(1, second.size()));
  give(key_hex(0, 0, "schedule"), zeros(144));
  give(key_hex(1, 1, "third"), piece(third, 1));
  give(key_hex(1, 0, "first"), header(0, first.size()));
  give(key_hex(1, 3, "first"), piece(first, 3));
  give(key_hex(1, 1, "second"), piece(second, 1));
  give(key_hex(1, 0, "third"), header(2, third.size()));
  give(key_hex(1, 1, "first"), piece(first, 1));
  restore();
  EXPECT_EQ(text_of(0), first);
  EXPECT_EQ(text_of(1), second);
  EXPECT_EQ(text_of(2), third);
  EXPECT_EQ(g_list_length(sch_schedule_list), 1u) << "only fragments are taken again";
  EXPECT_EQ(fake.live[7], 6);
}

TEST_F(RestoreOrderTest, numbers_with_gaps_are_put_in_order_to_the_largest) {
  const std::string text = job_text(long_size);
  give(key_hex(1, 0, "job"), header(5, long_size));
  give(key_hex(1, 0xffffffff, "job"), piece(text, 3));
  give(key_hex(1, 7, "job"), piece(text, 1));
  give(key_hex(1, 300, "job"), piece(text, 2));
  restore();
  EXPECT_EQ(text_of(5), text);
}

TEST_F(RestoreOrderTest, fragment_that_cannot_be_read_is_left_out_of_the_order) {
  const std::string text = job_text(long_size);
  give(key_hex(1, 0, "job"), header(5, long_size));
  for (const uint32_t n : {3u, 2u, 1u})
    give(key_hex(1, n, "job"), piece(text, n));
  fake.unreadable_keys = {unhex(key_hex(1, 2, "job"))};
  restore();
  ASSERT_EQ(g_list_length(sch_job_list[5].fragments), 2u);
  EXPECT_EQ(hex(g_list_nth_data(sch_job_list[5].fragments, 0), 1024), piece(text, 1));
}

// Counted by what the walks take in: a further walk would allocate each fragment again.
TEST_F(RestoreOrderTest, store_in_which_each_job_is_in_order_is_walked_once) {
  const std::string text = job_text(long_size);
  for (const char *job : {"b", "a"}) {
    give(key_hex(1, 0, job), header(*job, long_size));
    for (const uint32_t n : {1u, 2u, 3u})
      give(key_hex(1, n, job), piece(text, n));
  }
  give(key_hex(1, 1, "orphan"), "00");
  restore();
  EXPECT_EQ(text_of('a'), text);
  EXPECT_EQ(text_of('b'), text);
  EXPECT_EQ(fake.calls_with("mtrack_alloc 224 7").size(), 7u);
}

TEST_F(RestoreOrderTest, fragments_before_their_job_in_a_store_without_it_are_dropped) {
  give(key_hex(1, 1, "orphan"), "00");
  give(key_hex(1, 0, "job"), header(5, 2));
  give(key_hex(1, 1, "job"), "780a");
  restore();
  EXPECT_EQ(text_of(5), "x\n");
  EXPECT_EQ(fake.live[7], 1);
}

TEST_F(RestoreOrderTest, exhausted_memory_while_fragments_are_ordered_drops_no_more_than_it_must) {
  const std::string text = job_text(long_size);
  give(key_hex(1, 0, "job"), header(5, long_size));
  for (const uint32_t n : {3u, 2u, 1u})
    give(key_hex(1, n, "job"), piece(text, n));
  fake.alloc = {12, false};  // two for each record of the walk, then the key and the value of fragments 1 and 2
  restore();
  EXPECT_EQ(fake.alloc.calls, 14);
  ASSERT_EQ(g_list_length(sch_job_list[5].fragments), 2u);
  EXPECT_EQ(hex(g_list_nth_data(sch_job_list[5].fragments, 0), 1024), piece(text, 1));
}

TEST_F(RestoreOrderTest, old_error_in_the_cursor_costs_only_its_own_record) {
  fake.cursor_errors_stick = true;
  for (const char *name : {"a", "b", "c"})
    put("test", key_hex(0, 0, name), zeros(144));
  fake.unreadable_keys = {unhex(key_hex(0, 0, "a"))};
  restore();
  EXPECT_EQ(g_list_length(sch_schedule_list), 2u);
  EXPECT_THAT(fake.traces(103), ElementsAre("could not retrieve value for a", "got key type 0", "got key type 0"));
}

TEST_F(RestoreOrderTest, old_error_in_the_cursor_costs_only_its_own_status) {
  fake.cursor_errors_stick = true;
  add_job(sch_running_config, 1, "job", "x\n");
  for (const char *name : {"a", "b", "c"})
    put("test", key_hex(255, 1, name), "0100000002000000");
  fake.unreadable_keys = {unhex(key_hex(255, 1, "a"))};
  EXPECT_EQ(sch_restore_db_from_pss(&sch_running_config, store), 0);
  EXPECT_EQ(g_list_length(sch_job_list[1].status_list), 2u);
}

}  // namespace
