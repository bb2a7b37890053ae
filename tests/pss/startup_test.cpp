// SPDX-License-Identifier: Apache-2.0
// The running stores opened, by the active and by the standby supervisor, and the configuration filled from them.
#include <gmock/gmock.h>

#include "tests/pss/records.h"

using namespace pss_test;
using testing::ElementsAre;

namespace {

constexpr uint32_t broken = 0x40480009;

std::vector<std::string> schedule_names() {
  std::vector<std::string> names;
  for (GList *node = sch_schedule_list; node != nullptr; node = node->next)
    names.emplace_back(static_cast<sch_schedule_entry *>(node->data)->key->name);
  return names;
}

class StartupTest : public platform_test::PlatformTest {
 protected:
  void SetUp() override {
    PlatformTest::SetUp();
    sch_pss_uri_init();
    fake.calls.clear();
  }
};

TEST_F(StartupTest, stateful_restart_restores_the_running_store_and_never_reads_startup) {
  fill_store(running_uri, "from-running");
  fill_store(startup_uri, "from-startup");
  put(running_db_uri, key_hex(255, 3, "from-running"), "0700000009000000");
  EXPECT_EQ(sch_pss_init(), 0);
  EXPECT_THAT(schedule_names(), ElementsAre("from-running"));
  EXPECT_EQ(scheduler_enabled, 1);
  EXPECT_STREQ(email_transport_conf.from, "from@x.net");
  EXPECT_STREQ(sch_log_file.name, "restored.dat");
  EXPECT_EQ(g_list_length(sch_job_list[3].fragments), 1u);
  EXPECT_EQ(g_list_length(sch_job_list[3].status_list), 1u);
  EXPECT_EQ(pss_running, 1u);
  EXPECT_EQ(pss_running_db, 2u);
  EXPECT_EQ(debug_pss_running, 0u);
}

TEST_F(StartupTest, stateful_restart_with_a_flag_of_0_stays_disabled) {
  put(running_uri, key_hex(2, 0, ""), "00000000");
  scheduler_enabled = 1;
  sch_pss_init();
  EXPECT_EQ(scheduler_enabled, 0);
}

TEST_F(StartupTest, stateless_restart_restores_startup_writes_it_into_the_running_store_and_closes_startup) {
  fill_store(startup_uri, "from-startup");
  fill_store(running_uri, "from-running");
  put(running_db_uri, key_hex(255, 3, "from-startup"), "0700000009000000");
  fake.stateless = true;
  EXPECT_EQ(sch_pss_init(), 0);
  EXPECT_THAT(schedule_names(), ElementsAre("from-startup"));
  EXPECT_EQ(scheduler_enabled, 1) << "the startup store's flag";
  EXPECT_EQ(g_list_length(sch_job_list[3].status_list), 1u);
  EXPECT_TRUE(fake.stores[running_uri].records.contains(unhex(key_hex(0, 0, "from-running")))) << "nothing is deleted";
  EXPECT_EQ(fake.open_stores.size(), 2u);
}

TEST_F(StartupTest, stateless_restart_without_a_startup_uri_restores_the_statuses_alone) {
  set_text(sch_pss_startup_uri, 64, "");
  fill_store(running_uri, "from-running");
  fake.stateless = true;
  scheduler_enabled = 1;
  EXPECT_EQ(sch_pss_init(), 0);
  EXPECT_EQ(scheduler_enabled, 0);
  EXPECT_TRUE(schedule_names().empty());
  EXPECT_THAT(fake.calls_with("pss_open"),
              ElementsAre("pss_open running:scheduler_runtime", "pss_open running:scheduler_runtime_database"));
}

TEST_F(StartupTest, stateless_restart_without_a_startup_store_goes_on_empty_and_disabled) {
  put(running_db_uri, key_hex(255, 3, "s"), "0700000009000000");
  fake.stateless = true;
  scheduler_enabled = 1;
  EXPECT_EQ(sch_pss_init(), 0);
  EXPECT_EQ(scheduler_enabled, 0);
  EXPECT_TRUE(schedule_names().empty());
  EXPECT_EQ(fake.calls_with("pss_getvalue").size(), 1u) << "the statuses are restored all the same";
}

TEST_F(StartupTest, failed_limits_do_not_stop_the_start) {
  fake.errors["pss_max_key"] = broken;
  EXPECT_EQ(sch_pss_init(), 0);
  EXPECT_EQ(fake.syslog.size(), 2u);
  EXPECT_EQ(fake.calls.back(), "pss_move2location 4 1");
}

TEST_F(StartupTest, uris_that_fill_their_buffers_are_used_whole) {
  for (char *uri : {sch_pss_running_uri, sch_pss_running_db_uri, sch_pss_startup_uri}) {
    set_text(uri, 64, std::string(64, 'u'));
  }
  fake.stateless = true;
  EXPECT_EQ(sch_pss_init(), 0);
  for (const auto &call : fake.calls_with("pss_open"))
    EXPECT_EQ(call, "pss_open " + std::string(64, 'u'));
  EXPECT_EQ(fake.calls_with("pss_open").size(), 3u);
}

TEST_F(StartupTest, standby_answers_with_the_error_of_the_last_open) {
  fake.errors["pss_open"] = broken;
  EXPECT_EQ(sch_standby_pss_init(), static_cast<int>(broken));
  EXPECT_EQ(fake.calls_with("pss_open").size(), 4u) << "the second store is tried though the first failed";
  EXPECT_EQ(pss_running, 0u);
  EXPECT_EQ(pss_running_db, 0u);
  fake.reset();
  fake.stores[running_db_uri];
  fake.store = {1, false};
  EXPECT_EQ(sch_standby_pss_init(), 0) << "only the first open failed";
  EXPECT_EQ(pss_running, 2u) << "it was made";
  EXPECT_EQ(pss_running_db, 3u);
}

TEST_F(StartupTest, failed_synchronisation_rebuilds_both_stores_empty) {
  fill_store(running_uri, "s");
  put(running_db_uri, key_hex(255, 3, "s"), "0700000009000000");
  set_text(sch_pss_running_uri, 64, "stale");
  set_text(sch_pss_running_db_uri, 64, "stale");
  pss_running = 77;
  EXPECT_EQ(sch_standby_pss_init_gsync_fail(), 0);
  EXPECT_TRUE(fake.stores.at(running_uri).records.empty());
  EXPECT_TRUE(fake.stores.at(running_db_uri).records.empty());
  EXPECT_EQ(pss_running, 2u) << "the handle before is not closed first";
  EXPECT_EQ(pss_running_db, 4u);
  EXPECT_STREQ(sch_pss_running_uri, running_uri);
  EXPECT_STREQ(sch_pss_running_db_uri, running_db_uri);
}

TEST_F(StartupTest, failed_synchronisation_clears_whole_uris_even_without_a_base) {
  set_text(sch_pss_running_uri, 64, std::string(64, 'x'));
  set_text(sch_pss_running_db_uri, 64, std::string(64, 'y'));
  set_text(sch_debug_pss_running_uri, 64, "kept");
  fake.running_base = nullptr;
  sch_standby_pss_init_gsync_fail();
  EXPECT_EQ(hex(sch_pss_running_uri, 64), zeros(64));
  EXPECT_EQ(hex(sch_pss_running_db_uri, 64), zeros(64));
  EXPECT_STREQ(sch_debug_pss_running_uri, "kept");
}

TEST_F(StartupTest, failed_synchronisation_stops_at_a_running_store_that_cannot_be_opened) {
  fake.errors["pss_open"] = broken;
  EXPECT_EQ(sch_standby_pss_init_gsync_fail(), static_cast<int>(broken));
  EXPECT_THAT(fake.calls_with("pss_destroy"), ElementsAre("pss_destroy running:scheduler_runtime"));
}

TEST_F(StartupTest, failed_synchronisation_answers_with_the_error_of_the_database_open) {
  fake.stores[running_uri];
  fake.stores[running_db_uri];
  fake.store = {12, false};  // destroy, create, three limits and open, twice
  EXPECT_EQ(sch_standby_pss_init_gsync_fail(), static_cast<int>(broken));
  EXPECT_EQ(fake.store.calls, 12);
  EXPECT_EQ(pss_running_db, 0u);
}

}  // namespace
