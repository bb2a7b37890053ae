// SPDX-License-Identifier: Apache-2.0
// Where the stores are, how they are created, how they are closed.
#include <gmock/gmock.h>

#include "tests/pss/records.h"

using namespace pss_test;
using testing::ElementsAre;

namespace {

constexpr uint32_t broken = 0x40480009;  // traced as type 1, facility 576, number 9
constexpr const char *broken_parts = "Syserr - type:1 facility:576 number:9";

class StoresTest : public platform_test::PlatformTest {};

TEST_F(StoresTest, uris_are_completed_from_their_three_bases) {
  EXPECT_EQ(sch_pss_uri_init(), 0);
  EXPECT_STREQ(sch_pss_running_uri, "running:scheduler_runtime");
  EXPECT_STREQ(sch_pss_running_db_uri, "running:scheduler_runtime_database");
  EXPECT_STREQ(sch_debug_pss_running_uri, "running:scheduler_debug_runtime");
  EXPECT_STREQ(sch_pss_startup_uri, "startup:scheduler_startup");
  EXPECT_STREQ(sch_debug_pss_startup_uri, "debug:scheduler_debug_startup");
  EXPECT_THAT(fake.calls,
              ElementsAre("sysmgr_running_cfg_uri_get", "sysmgr_uri_complete running:  scheduler_runtime",
                          "sysmgr_uri_complete running:  scheduler_runtime_database",
                          "sysmgr_uri_complete running:  scheduler_debug_runtime", "sysmgr_startup_cfg_uri_get",
                          "sysmgr_uri_complete startup:  scheduler_startup", "sysmgr_debug_cfg_uri_get",
                          "sysmgr_uri_complete debug:  scheduler_debug_startup"));
}

TEST_F(StoresTest, missing_base_leaves_its_buffers_as_they_were) {
  for (char *uri : {sch_pss_running_uri, sch_pss_running_db_uri, sch_debug_pss_running_uri, sch_pss_startup_uri,
                    sch_debug_pss_startup_uri}) {
    set_text(uri, 64, "before");
  }
  fake.running_base = nullptr;
  EXPECT_EQ(sch_pss_uri_init(), 0);
  EXPECT_STREQ(sch_pss_running_uri, "before");
  EXPECT_STREQ(sch_pss_running_db_uri, "before");
  EXPECT_STREQ(sch_debug_pss_running_uri, "before");
  EXPECT_STREQ(sch_pss_startup_uri, "startup:scheduler_startup");
  EXPECT_STREQ(sch_debug_pss_startup_uri, "debug:scheduler_debug_startup");
  fake.startup_base = fake.debug_base = nullptr;
  set_text(sch_pss_startup_uri, 64, "kept");
  set_text(sch_debug_pss_startup_uri, 64, "kept too");
  EXPECT_EQ(sch_pss_uri_init(), 0);
  EXPECT_STREQ(sch_pss_startup_uri, "kept");
  EXPECT_STREQ(sch_debug_pss_startup_uri, "kept too");
}

TEST_F(StoresTest, uri_that_cannot_be_completed_leaves_its_buffer_as_it_was) {
  set_text(sch_pss_running_db_uri, 64, "before");
  fake.uncompletable = {"scheduler_runtime_database"};
  sch_pss_uri_init();
  EXPECT_STREQ(sch_pss_running_uri, "running:scheduler_runtime");
  EXPECT_STREQ(sch_pss_running_db_uri, "before");
}

TEST_F(StoresTest, uri_is_cut_at_64_characters_without_a_terminator) {
  const std::string base(64 - sizeof("scheduler_startup") + 1, 'b');
  fake.startup_base = base.c_str();
  sch_pss_uri_init();
  EXPECT_EQ(std::string(sch_pss_startup_uri, 64), base + "scheduler_startup");
  const std::string longer = base + "x";
  fake.startup_base = longer.c_str();
  set_text(sch_debug_pss_startup_uri, 64, "");
  sch_pss_uri_init();
  EXPECT_EQ(std::string(sch_pss_startup_uri, 64), longer + "scheduler_startu");
}

TEST_F(StoresTest, shorter_uri_erases_the_rest_of_a_longer_one) {
  set_text(sch_pss_startup_uri, 64, std::string(64, 'x'));
  sch_pss_uri_init();
  EXPECT_EQ(hex(sch_pss_startup_uri, 64), padded("startup:scheduler_startup", 64));
}

TEST_F(StoresTest, new_store_gets_its_limits_and_version_in_order) {
  EXPECT_EQ(sch_pss_create("some:store", 1024, 1024, 40), 0);
  EXPECT_THAT(fake.calls, ElementsAre("pss_create some:store", "pss_max_key 1 40", "pss_version_set 1 1 1",
                                      "pss_max_value 1 1024"));
  EXPECT_EQ(fake.stores.at("some:store").max_key, 40);
  EXPECT_EQ(fake.stores.at("some:store").max_value, 1024);
  EXPECT_TRUE(fake.history.empty());
  EXPECT_EQ(fake.open_stores.size(), 1u) << "the handle is not closed";
}

TEST_F(StoresTest, size_argument_is_not_used) {
  EXPECT_EQ(sch_pss_create("some:store", 0, 7, 3), 0);
  EXPECT_THAT(fake.calls,
              ElementsAre("pss_create some:store", "pss_max_key 1 3", "pss_version_set 1 1 1", "pss_max_value 1 7"));
}

TEST_F(StoresTest, zero_key_size_sets_no_key_limit) {
  EXPECT_EQ(sch_pss_create("some:store", 1024, 1024, 0), 0);
  EXPECT_THAT(fake.calls, ElementsAre("pss_create some:store", "pss_version_set 1 1 1", "pss_max_value 1 1024"));
}

TEST_F(StoresTest, zero_value_size_sets_no_value_limit) {
  EXPECT_EQ(sch_pss_create("some:store", 1024, 0, 40), 0);
  EXPECT_THAT(fake.calls, ElementsAre("pss_create some:store", "pss_max_key 1 40", "pss_version_set 1 1 1"));
}

TEST_F(StoresTest, low_half_of_the_value_size_is_passed_on) {
  EXPECT_EQ(sch_pss_create("some:store", 1024, 0x12340567, 40), 0);
  EXPECT_EQ(fake.calls.back(), "pss_max_value 1 1383");
  fake.stores.clear();
  EXPECT_EQ(sch_pss_create("some:store", 1024, 0x10000, 40), 0);
  EXPECT_EQ(fake.calls.back(), "pss_max_value 2 0");
}

TEST_F(StoresTest, existing_store_is_left_alone) {
  fake.stores["some:store"].max_key = 7;
  EXPECT_EQ(sch_pss_create("some:store", 1024, 1024, 40), 0);
  EXPECT_THAT(fake.calls, ElementsAre("pss_create some:store"));
  EXPECT_EQ(fake.stores.at("some:store").max_key, 7);
  EXPECT_THAT(fake.traces(100), ElementsAre("pss_create uri some:store exists ret code 80480011"));
}

TEST_F(StoresTest, other_create_error_is_65_with_a_trace_alone) {
  fake.errors["pss_create"] = broken;
  EXPECT_EQ(sch_pss_create("some:store", 1024, 1024, 40), 65);
  EXPECT_THAT(fake.calls, ElementsAre("pss_create some:store"));
  EXPECT_THAT(fake.traces(100), ElementsAre("uri some:store  ret code 40480009"));
  EXPECT_TRUE(fake.syslog.empty());
}

TEST_F(StoresTest, refused_key_size_is_65_with_a_system_message_and_no_split_code) {
  fake.errors["pss_max_key"] = broken;
  EXPECT_EQ(sch_pss_create("some:store", 1024, 1024, 40), 65);
  EXPECT_THAT(fake.calls_with("pss_"), ElementsAre("pss_create some:store", "pss_max_key 1 40"));
  EXPECT_THAT(take_traces(100), ElementsAre("could not alter key size to 40 error 0x40480009"));
  EXPECT_THAT(take_syslog(), ElementsAre("3 <<%SCHEDULER-3-SCH_SYSLOG_PSS_ERR>> Purpose:Set max key size "
                                         "URI:some:store Error:1078460425"));
}

TEST_F(StoresTest, refused_value_size_is_65_with_a_system_message_and_the_split_code) {
  fake.errors["pss_max_value"] = broken;
  EXPECT_EQ(sch_pss_create("some:store", 1024, 1024, 40), 65);
  EXPECT_THAT(take_traces(100),
              ElementsAre("Error in setting max PSS value size to 1024 for some:store", broken_parts));
  EXPECT_THAT(take_syslog(), ElementsAre("3 <<%SCHEDULER-3-SCH_SYSLOG_PSS_ERR>> Purpose:Set max value size "
                                         "URI:some:store Error:1078460425"));
}

TEST_F(StoresTest, refused_value_size_is_traced_before_it_is_raised) {
  fake.errors["pss_max_value"] = broken;
  fake.record_traces = true;
  sch_pss_create("some:store", 1024, 1024, 40);
  EXPECT_LT(position_of(std::string("sdwrap_hist_event 100 ") + broken_parts), position_of("tarn_syslog"));
}

TEST_F(StoresTest, refused_key_size_is_traced_before_it_is_raised) {
  fake.errors["pss_max_key"] = broken;
  fake.record_traces = true;
  sch_pss_create("some:store", 1024, 1024, 40);
  EXPECT_LT(position_of("sdwrap_hist_event 100 could not alter key size to 40 error 0x40480009"),
            position_of("tarn_syslog"));
}

TEST_F(StoresTest, refused_version_is_not_looked_at) {
  fake.errors["pss_version_set"] = broken;
  EXPECT_EQ(sch_pss_create("some:store", 1024, 1024, 40), 0);
  EXPECT_EQ(fake.calls.back(), "pss_max_value 1 1024");
  EXPECT_TRUE(fake.history.empty());
}

TEST_F(StoresTest, closing_closes_what_is_open_then_the_debug_and_system_services) {
  pss_running = open_store("a");
  pss_running_db = open_store("b");
  debug_pss_running = open_store("c");
  int arg = 0;
  fake.errors["sdwrap_sys_clean"] = 23;
  EXPECT_EQ(sch_pss_close_handles(&arg), 23);
  EXPECT_THAT(fake.calls, ElementsAre("pss_close 1", "pss_close 2", "sdwrap_dbg_clean arg", "sdwrap_sys_clean arg"));
  EXPECT_EQ(pss_running, 0u);
  EXPECT_EQ(pss_running_db, 0u);
  EXPECT_EQ(debug_pss_running, 3u);
}

TEST_F(StoresTest, closing_skips_what_is_not_open) {
  EXPECT_EQ(sch_pss_close_handles(nullptr), 0);
  EXPECT_THAT(fake.calls, ElementsAre("sdwrap_dbg_clean null", "sdwrap_sys_clean null"));
}

}  // namespace
