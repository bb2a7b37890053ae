// SPDX-License-Identifier: Apache-2.0
// The run history in the running database store, and back from it.
#include <gmock/gmock.h>

#include "tests/pss/records.h"

using namespace pss_test;
using testing::ElementsAre;

namespace {

constexpr const char *full_name = "abcdefghijklmnopqrstuvwxyz012345";

sch_runtime_job_status status(const std::string &schedule) {
  sch_runtime_job_status entry{};
  set_text(entry.schedule_name, sizeof entry.schedule_name, schedule);
  entry.job_id = 0x0102;
  entry.words[0] = 0x11121314;
  entry.words[1] = 0x21222324;
  return entry;
}

using RuntimeStatusTest = OpenStoreTest;

TEST_F(RuntimeStatusTest, bytes_behind_the_schedule_name_do_not_reach_the_key) {
  auto entry = status("nightly");
  entry.schedule_name[20] = 'x';
  sch_save_runtime_job_status_entry_to_pss(store, &entry);
  EXPECT_TRUE(fake.stores["test"].records.contains(unhex(key_hex(255, 0x0102, "nightly"))));
}

TEST_F(RuntimeStatusTest, delete_deliberately_names_a_key_of_type_4_and_answers_with_the_store) {
  const auto entry = status("nightly");
  sch_save_runtime_job_status_entry_to_pss(store, &entry);
  fake.calls.clear();
  EXPECT_EQ(static_cast<uint32_t>(sch_delete_job_status_entry_from_pss(store, &entry)), PSS_ERR_NO_KEY);
  EXPECT_EQ(fake.stores["test"].records.size(), 1u) << "the saved record stays";
  put("test", key_hex(4, 0x0102, "nightly"), "00");
  EXPECT_EQ(sch_delete_job_status_entry_from_pss(store, &entry), 0);
  EXPECT_TRUE(fake.history.empty());
}

TEST_F(RuntimeStatusTest, given_configuration_is_restored_and_saved) {
  add_job(sch_running_config, 1, "job", "x\n");
  add_job(sch_startup_config, 1, "job", "x\n");
  put("test", key_hex(255, 1, "s"), "0100000002000000");
  EXPECT_EQ(sch_restore_db_from_pss(&sch_startup_config, store), 0);
  EXPECT_EQ(sch_job_list[1].status_list, nullptr);
  EXPECT_EQ(g_list_length(startup_job_list[1].status_list), 1u);
  fake.calls.clear();
  sch_save_db_to_pss(&sch_startup_config, store);
  sch_save_db_to_pss(&sch_running_config, store);
  EXPECT_THAT(fake.calls, ElementsAre(stored(store, key_hex(255, 1, "s"), "0100000002000000")));
}

TEST_F(RuntimeStatusTest, database_skips_slots_without_key_header_or_text) {
  sch_job_entry *no_header = add_job(sch_running_config, 3, "no-header", "x\n");
  sch_job_entry *no_text = add_job(sch_running_config, 4, "no-text", "");
  sch_job_entry *no_key = add_job(sch_running_config, 5, "no-key", "x\n");
  for (sch_job_entry *slot : {no_header, no_text, no_key})
    add_status(*slot, 1, "s", 1, 2);
  no_header->hdr = nullptr;
  no_key->key = nullptr;
  fake.calls.clear();
  EXPECT_EQ(sch_save_db_to_pss(&sch_running_config, store), 0);
  EXPECT_TRUE(fake.calls.empty());
  EXPECT_TRUE(fake.history.empty());
}

TEST_F(RuntimeStatusTest, saving_and_deleting_go_on_whatever_the_store_answers) {
  sch_job_entry *slot = add_job(sch_running_config, 2, "job", "x\n");
  const int before = fake.live_blocks();
  add_status(*slot, 2, "b", 1, 2);
  add_status(*slot, 2, "a", 3, 4);
  fake.errors["pss_store"] = fake.errors["pss_delete"] = 1;
  fake.calls.clear();
  EXPECT_EQ(sch_save_runtime_job_status_to_pss(store, slot), 0);
  EXPECT_EQ(fake.calls_with("pss_store").size(), 2u);
  EXPECT_EQ(sch_delete_all_status_for_job_from_pss(store, slot), 0);
  EXPECT_EQ(slot->status_list, nullptr);
  EXPECT_EQ(fake.live_blocks(), before);
}

TEST_F(RuntimeStatusTest, records_come_back_to_their_jobs) {
  add_job(sch_running_config, 0, "first", "x\n");
  add_job(sch_running_config, 255, "last", "x\n");
  put("test", key_hex(255, 0, "s1"), "0100000002000000");
  put("test", key_hex(255, 255, full_name), "0300000004000000");
  put("test", key_hex(255, 0, "s0"), "0500000006000000");
  fake.calls.clear();
  EXPECT_EQ(sch_restore_db_from_pss(&sch_running_config, store), 0);
  ASSERT_EQ(g_list_length(sch_job_list[0].status_list), 2u);
  ASSERT_EQ(g_list_length(sch_job_list[255].status_list), 1u);
  EXPECT_EQ(hex(g_list_nth_data(sch_job_list[0].status_list, 0), 44), padded("s0", 32) +
                                                                          "00000000"
                                                                          "05000000"
                                                                          "06000000");
  EXPECT_EQ(hex(g_list_nth_data(sch_job_list[0].status_list, 1), 44), padded("s1", 32) +
                                                                          "00000000"
                                                                          "01000000"
                                                                          "02000000");
  EXPECT_EQ(hex(g_list_nth_data(sch_job_list[255].status_list, 0), 44), padded(full_name, 32) +
                                                                            "ff000000"
                                                                            "03000000"
                                                                            "04000000");
}

TEST_F(RuntimeStatusTest, key_type_is_deliberately_not_looked_at) {
  add_job(sch_running_config, 1, "job", "x\n");
  put("test", key_hex(4, 1, "s"), "0100000002000000");
  put("test", key_hex(77, 1, "s"), "0100000002000000");
  sch_restore_db_from_pss(&sch_running_config, store);
  EXPECT_EQ(g_list_length(sch_job_list[1].status_list), 2u);
}

TEST_F(RuntimeStatusTest, short_and_long_keys_and_values_fill_the_entry_with_what_they_have) {
  add_job(sch_running_config, 0, "job", "x\n");
  struct {
    std::string key, value, entry;
  } const cases[] = {
      {"", "", zeros(44)},
      {"000000ff", "01", zeros(36) + "0100000000000000"},
      {"000000ff00000000"
       "7373",
       "0102030405", "7373" + zeros(34) + "0102030405000000"},
      {key_hex(255, 0, "s") + "ffff",
       "0102030405060708"
       "ffffff",
       padded("s", 32) + zeros(4) + "0102030405060708"},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.key);
    fake.stores["test"].records.clear();
    put("test", c.key, c.value);
    sch_restore_db_from_pss(&sch_running_config, store);
    GList *last = g_list_last(sch_job_list[0].status_list);
    ASSERT_NE(last, nullptr);
    EXPECT_EQ(hex(last->data, 44), c.entry);
  }
}

TEST_F(RuntimeStatusTest, status_of_an_unknown_job_is_dropped_and_freed) {
  put("test", key_hex(255, 3, "s"), "0100000002000000");
  put("test", key_hex(255, 256, "s"), "0100000002000000");
  put("test", key_hex(255, 0xffffffff, "s"), "0100000002000000");
  EXPECT_EQ(sch_restore_db_from_pss(&sch_running_config, store), 0);
  EXPECT_EQ(fake.live_blocks(), 0);
}

TEST_F(RuntimeStatusTest, record_that_cannot_be_read_is_skipped) {
  add_job(sch_running_config, 1, "job", "x\n");
  for (const char *name : {"a", "b", "c"})
    put("test", key_hex(255, 1, name), "0100000002000000");
  fake.unreadable_keys = {unhex(key_hex(255, 1, "b"))};
  sch_restore_db_from_pss(&sch_running_config, store);
  ASSERT_EQ(g_list_length(sch_job_list[1].status_list), 2u);
  EXPECT_STREQ(static_cast<sch_runtime_job_status *>(g_list_nth_data(sch_job_list[1].status_list, 1))->schedule_name,
               "c");
}

TEST_F(RuntimeStatusTest, exhausted_memory_ends_the_walk) {
  for (int nth = 1; nth <= 3; ++nth) {
    SCOPED_TRACE(nth);
    platform_test::reset_library();
    fake.reset();
    store = open_store();
    add_job(sch_running_config, 1, "job", "x\n");
    for (const char *name : {"a", "b", "c"})
      put("test", key_hex(255, 1, name), "0100000002000000");
    fake.alloc = {nth, false};
    fake.calls.clear();
    EXPECT_EQ(sch_restore_db_from_pss(&sch_running_config, store), 0);
    EXPECT_EQ(g_list_length(sch_job_list[1].status_list), static_cast<guint>(nth - 1));
    EXPECT_EQ(fake.calls_with("pss_getvalue").size(), static_cast<size_t>(nth));
  }
}

}  // namespace
