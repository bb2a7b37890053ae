// SPDX-License-Identifier: Apache-2.0
// The run history in the running database store, and back from it.
#include <gmock/gmock.h>

#include "tests/pss/records.h"

using namespace pss_test;
using testing::ElementsAre;

namespace {

constexpr const char *full_name = "abcdefghijklmnopqrstuvwxyz012345";
constexpr const char *broken_parts = "Syserr - type:1 facility:576 number:9";

sch_runtime_job_status status(const std::string &schedule) {
  sch_runtime_job_status entry{};
  set_text(entry.schedule_name, sizeof entry.schedule_name, schedule);
  entry.job_id = 0x0102;
  entry.words[0] = 0x11121314;
  entry.words[1] = 0x21222324;
  return entry;
}

class RuntimeStatusTest : public platform_test::PlatformTest {
 protected:
  pss_handle store = 0;
  void SetUp() override {
    PlatformTest::SetUp();
    store = open_store();
  }
};

TEST_F(RuntimeStatusTest, entry_is_stored_under_its_job_and_schedule) {
  const auto entry = status("nightly");
  EXPECT_EQ(sch_save_runtime_job_status_entry_to_pss(store, &entry), 0);
  EXPECT_THAT(fake.calls, ElementsAre(stored(store,
                                             "000000ff00000102"
                                             "6e696768746c79" +
                                                 zeros(25),
                                             "1413121124232221")));
  EXPECT_TRUE(fake.history.empty());
}

TEST_F(RuntimeStatusTest, schedule_name_of_32_characters_fills_the_key) {
  const auto entry = status(full_name);
  sch_save_runtime_job_status_entry_to_pss(store, &entry);
  EXPECT_TRUE(fake.stores["test"].records.contains(unhex(key_hex(255, 0x0102, full_name))));
}

TEST_F(RuntimeStatusTest, bytes_behind_the_schedule_name_do_not_reach_the_key) {
  auto entry = status("nightly");
  entry.schedule_name[20] = 'x';
  sch_save_runtime_job_status_entry_to_pss(store, &entry);
  EXPECT_TRUE(fake.stores["test"].records.contains(unhex(key_hex(255, 0x0102, "nightly"))));
}

TEST_F(RuntimeStatusTest, refused_entry_is_traced_with_its_split_code) {
  fake.errors["pss_store"] = 0x40480009;
  for (const std::string name : {"nightly", full_name}) {
    const auto entry = status(name);
    EXPECT_EQ(sch_save_runtime_job_status_entry_to_pss(store, &entry), -1);
    EXPECT_THAT(take_traces(103),
                ElementsAre("PSS error 0x40480009 saving the job 258 status for schedule " + name, broken_parts));
  }
  EXPECT_TRUE(fake.syslog.empty());
}

TEST_F(RuntimeStatusTest, delete_deliberately_names_a_key_of_type_4_and_answers_with_the_store) {
  const auto entry = status("nightly");
  sch_save_runtime_job_status_entry_to_pss(store, &entry);
  fake.calls.clear();
  EXPECT_EQ(static_cast<uint32_t>(sch_delete_job_status_entry_from_pss(store, &entry)), PSS_ERR_NO_KEY);
  EXPECT_THAT(fake.calls, ElementsAre(deleted(store,
                                              "0000000400000102"
                                              "6e696768746c79" +
                                                  zeros(25))));
  EXPECT_EQ(fake.stores["test"].records.size(), 1u) << "the saved record stays";
  put("test", key_hex(4, 0x0102, "nightly"), "00");
  EXPECT_EQ(sch_delete_job_status_entry_from_pss(store, &entry), 0);
  EXPECT_TRUE(fake.history.empty());
}

TEST_F(RuntimeStatusTest, slot_is_saved_in_list_order_whatever_the_store_answers) {
  sch_job_entry *slot = add_job(sch_running_config, 2, "job", "x\n");
  add_status(*slot, 2, "b", 1, 2);
  add_status(*slot, 2, "a", 3, 4);
  fake.calls.clear();
  EXPECT_EQ(sch_save_runtime_job_status_to_pss(store, slot), 0);
  EXPECT_THAT(fake.calls, ElementsAre(stored(store, key_hex(255, 2, "b"), "0100000002000000"),
                                      stored(store, key_hex(255, 2, "a"), "0300000004000000")));
  fake.calls.clear();
  fake.errors["pss_store"] = 1;
  EXPECT_EQ(sch_save_runtime_job_status_to_pss(store, slot), 0);
  EXPECT_EQ(fake.calls.size(), 2u);
}

TEST_F(RuntimeStatusTest, database_is_saved_by_ascending_index) {
  add_status(*add_job(sch_running_config, 255, "last", "x\n"), 255, "s", 1, 0);
  add_status(*add_job(sch_running_config, 0, "first", "x\n"), 0, "s", 2, 0);
  fake.calls.clear();
  EXPECT_EQ(sch_save_db_to_pss(&sch_running_config, store), 0);
  EXPECT_THAT(fake.calls, ElementsAre(stored(store, key_hex(255, 0, "s"), "0200000000000000"),
                                      stored(store, key_hex(255, 255, "s"), "0100000000000000")));
  EXPECT_THAT(fake.traces(103), ElementsAre("saving job first (0)", "saving job last (255)"));
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

TEST_F(RuntimeStatusTest, database_announces_each_job_before_it_is_saved) {
  add_status(*add_job(sch_running_config, 4, "job", "x\n"), 4, "s", 1, 0);
  fake.record_traces = true;
  sch_save_db_to_pss(&sch_running_config, store);
  EXPECT_LT(position_of("sdwrap_hist_event 103 saving job job (4)"), position_of("pss_store"));
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

TEST_F(RuntimeStatusTest, deleting_all_of_a_job_traces_deletes_and_frees_each_in_order) {
  sch_job_entry *slot = add_job(sch_running_config, 2, "job", "x\n");
  add_status(*slot, 2, "b", 1, 2);
  add_status(*slot, 2, "a", 3, 4);
  const int before = fake.live_blocks();
  fake.calls.clear();
  fake.record_traces = true;
  fake.buginf_allowed = false;
  EXPECT_EQ(sch_delete_all_status_for_job_from_pss(store, slot), 0);
  EXPECT_EQ(slot->status_list, nullptr);
  EXPECT_EQ(fake.live_blocks(), before - 2);
  const std::string check = "sdwrap_hist_event_subtype_check 0x730000 103", gate = "sdwrap_chk_int 103 0 0 1";
  const std::string event = "sdwrap_hist_event 103 pss delete job (job) status (2)";
  EXPECT_THAT(fake.calls, ElementsAre(check, event, gate, deleted(store, key_hex(4, 2, "b")), "mtrack_free 99",  //
                                      check, event, gate, deleted(store, key_hex(4, 2, "a")), "mtrack_free 99"));
}

TEST_F(RuntimeStatusTest, deleting_all_of_an_empty_list_makes_no_store_call) {
  sch_job_entry *slot = add_job(sch_running_config, 2, "job", "x\n");
  fake.calls.clear();
  EXPECT_EQ(sch_delete_all_status_for_job_from_pss(store, slot), 0);
  EXPECT_TRUE(fake.calls.empty());
  EXPECT_TRUE(fake.history.empty());
}

TEST_F(RuntimeStatusTest, records_come_back_to_their_jobs) {
  add_job(sch_running_config, 0, "first", "x\n");
  add_job(sch_running_config, 255, "last", "x\n");
  put("test", key_hex(255, 0, "s1"), "0100000002000000");
  put("test", key_hex(255, 255, full_name), "0300000004000000");
  put("test", key_hex(255, 0, "s0"), "0500000006000000");
  fake.calls.clear();
  EXPECT_EQ(sch_restore_db_from_pss(&sch_running_config, store), 0);
  EXPECT_THAT(fake.calls_with("mtrack_"),
              ElementsAre("mtrack_alloc 224 4 44", "mtrack_alloc 224 4 44", "mtrack_alloc 224 4 44"));
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

TEST_F(RuntimeStatusTest, failed_positioning_is_traced_and_restores_nothing) {
  put("test", key_hex(255, 1, "s"), "0100000002000000");
  fake.store = {1, false};
  EXPECT_EQ(sch_restore_db_from_pss(&sch_running_config, store), 0);
  EXPECT_THAT(fake.traces(103), ElementsAre("could not move to first key in rundb"));
  EXPECT_EQ(fake.store.calls, 1);
}

TEST_F(RuntimeStatusTest, empty_database_restores_nothing_without_a_trace) {
  EXPECT_EQ(sch_restore_db_from_pss(&sch_running_config, store), 0);
  EXPECT_TRUE(fake.history.empty());
  EXPECT_THAT(fake.calls, ElementsAre("pss_move2location 1 1"));
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
    EXPECT_THAT(take_syslog(), ElementsAre("2 <<%SCHEDULER-2-SCH_SYSLOG_MALLOC_ERR>> Out of memory: restore db"));
    EXPECT_EQ(fake.calls_with("pss_getvalue").size(), static_cast<size_t>(nth));
  }
}

}  // namespace
