// SPDX-License-Identifier: Apache-2.0
// The running stores opened, by the active and by the standby supervisor, and the configuration filled from them.
#include <gmock/gmock.h>

#include "tests/pss/records.h"

using namespace pss_test;
using testing::ElementsAre;

namespace {

constexpr const char *run = "running:scheduler_runtime";
constexpr const char *run_db = "running:scheduler_runtime_database";
constexpr const char *startup = "startup:scheduler_startup";
constexpr uint32_t broken = 0x40480009;
constexpr const char *broken_parts = "Syserr - type:1 facility:576 number:9";
constexpr const char *open_run_message =
    "3 <<%SCHEDULER-3-SCH_SYSLOG_PSS_ERR>> Purpose:Open runtime PSS URI:running:scheduler_runtime Error:1078460425";
constexpr const char *open_db_message =
    "3 <<%SCHEDULER-3-SCH_SYSLOG_PSS_ERR>> Purpose:Open runtime db PSS URI:running:scheduler_runtime_database "
    "Error:1078460425";

// A configuration of one record of each kind.
void fill_store(const std::string &uri, const std::string &schedule) {
  put(uri, key_hex(0, 0, schedule), zeros(144));
  put(uri, key_hex(1, 0, "job"),
      "03000000"
      "00000000"
      "02000000");
  put(uri, key_hex(1, 1, "job"), "780a");
  put(uri, key_hex(2, 0, ""), "01000000");
  put(uri, key_hex(3, 0, ""), padded("restored.dat", 256) + "00400000" + zeros(12) + padded("NONE", 256) + zeros(4));
  put(uri, key_hex(5, 0, ""), padded("from@x.net", 64));
  put(uri, key_hex(8, 0, schedule),
      padded(schedule, 32) + "01000000" + padded("a@x.net", 64) + "01000000" + zeros(9 * 68));
}

std::vector<std::string> schedule_names() {
  std::vector<std::string> names;
  for (GList *node = sch_schedule_list; node != nullptr; node = node->next)
    names.emplace_back(static_cast<sch_schedule_entry *>(node->data)->key->name);
  return names;
}

using Calls = std::vector<std::string>;

Calls operator+(Calls first, const Calls &second) {
  first.insert(first.end(), second.begin(), second.end());
  return first;
}

std::vector<std::string> created(const std::string &uri, int handle) {
  const std::string h = std::to_string(handle);
  return {"pss_create " + uri, "pss_max_key " + h + " 40", "pss_version_set " + h + " 1 1",
          "pss_max_value " + h + " 1024"};
}

class StartupTest : public platform_test::PlatformTest {
 protected:
  void SetUp() override {
    PlatformTest::SetUp();
    name_stores();
  }
  void name_stores() {
    sch_pss_uri_init();
    fake.calls.clear();
  }
};

TEST_F(StartupTest, first_start_creates_and_opens_both_running_stores_and_finds_nothing) {
  EXPECT_EQ(sch_pss_init(), 0);
  const Calls open_run = {"pss_open running:scheduler_runtime"};
  const Calls open_db = {"pss_open running:scheduler_runtime_database"};
  const Calls walks = {"sysmgr_is_stateless_restart", "pss_move2location 2 1", "pss_move2location 4 1"};
  EXPECT_EQ(fake.calls, created(run, 1) + open_run + created(run_db, 3) + open_db + walks);
  EXPECT_EQ(pss_running, 2u);
  EXPECT_EQ(pss_running_db, 4u);
  EXPECT_EQ(debug_pss_running, 0u);
  EXPECT_THAT(fake.traces(), ElementsAre("Restoring config from runnning."));
  EXPECT_EQ(fake.stores.at(run).major, 1u);
  EXPECT_EQ(fake.stores.at(run).minor, 1u);
}

TEST_F(StartupTest, stateful_restart_restores_the_running_store_and_never_reads_startup) {
  fill_store(run, "from-running");
  fill_store(startup, "from-startup");
  put(run_db, key_hex(255, 3, "from-running"), "0700000009000000");
  EXPECT_EQ(sch_pss_init(), 0);
  EXPECT_THAT(schedule_names(), ElementsAre("from-running"));
  EXPECT_EQ(scheduler_enabled, 1);
  EXPECT_STREQ(email_transport_conf.from, "from@x.net");
  EXPECT_STREQ(sch_log_file.name, "restored.dat");
  EXPECT_EQ(g_list_length(sch_job_list[3].fragments), 1u);
  EXPECT_EQ(g_list_length(sch_job_list[3].status_list), 1u);
  EXPECT_TRUE(fake.calls_with("pss_open startup").empty());
  EXPECT_TRUE(fake.calls_with("pss_store").empty());
  EXPECT_THAT(fake.traces(100),
              ElementsAre("pss_create uri running:scheduler_runtime exists ret code 80480011",
                          "pss_create uri running:scheduler_runtime_database exists ret code 80480011",
                          "Restoring config from runnning."));
}

TEST_F(StartupTest, restores_are_announced_before_they_begin) {
  fill_store(run, "s");
  fill_store(startup, "s");
  fake.record_traces = true;
  sch_pss_init();
  EXPECT_LT(position_of("sdwrap_hist_event 100 Restoring config from runnning."), position_of("pss_move2location"));
  fake.calls.clear();
  fake.stateless = true;
  sch_pss_init();
  EXPECT_LT(position_of("sdwrap_hist_event 100 Restoring config from startup."), position_of("pss_move2location"));
}

TEST_F(StartupTest, running_store_is_traced_before_it_is_raised) {
  fake.errors["pss_open"] = broken;
  fake.record_traces = true;
  sch_pss_init();
  EXPECT_LT(position_of("sdwrap_hist_event 100 Syserr"), position_of("tarn_syslog"));
}

TEST_F(StartupTest, stateful_restart_with_a_flag_of_0_stays_disabled) {
  put(run, key_hex(2, 0, ""), "00000000");
  scheduler_enabled = 1;
  sch_pss_init();
  EXPECT_EQ(scheduler_enabled, 0);
}

TEST_F(StartupTest, stateless_restart_restores_startup_writes_it_into_the_running_store_and_closes_startup) {
  fill_store(startup, "from-startup");
  fill_store(run, "from-running");
  put(run_db, key_hex(255, 3, "from-startup"), "0700000009000000");
  fake.stateless = true;
  EXPECT_EQ(sch_pss_init(), 0);
  EXPECT_THAT(schedule_names(), ElementsAre("from-startup"));
  EXPECT_EQ(scheduler_enabled, 1) << "the startup store's flag";
  EXPECT_EQ(g_list_length(sch_job_list[3].status_list), 1u);
  EXPECT_THAT(fake.traces(100),
              ElementsAre("pss_create uri running:scheduler_runtime exists ret code 80480011",
                          "pss_create uri running:scheduler_runtime_database exists ret code 80480011",
                          "Stateless restart", "Restoring config from startup."));
  EXPECT_THAT(fake.calls_with("pss_store"), ElementsAre(stored(1, key_hex(0, 0, "from-startup"), zeros(144)),
                                                        stored(1, key_hex(1, 0, "job"),
                                                               "03000000"
                                                               "00000000"
                                                               "02000000"),
                                                        stored(1, key_hex(1, 1, "job"), "780a"),
                                                        stored(1, key_hex(3, 0, ""),
                                                               padded("restored.dat", 256) + "00400000" + zeros(12) +
                                                                   padded("NONE", 256) + zeros(4))));
  EXPECT_TRUE(fake.stores[run].records.contains(unhex(key_hex(0, 0, "from-running")))) << "nothing is deleted";
  EXPECT_THAT(fake.calls_with("pss_close"), ElementsAre("pss_close 3"));
  EXPECT_EQ(fake.open_stores.size(), 2u);
}

TEST_F(StartupTest, stateless_restart_closes_startup_before_the_database_is_restored) {
  fill_store(startup, "s");
  fake.stateless = true;
  sch_pss_init();
  const auto closed = std::find(fake.calls.begin(), fake.calls.end(), "pss_close 5");
  const auto database = std::find(fake.calls.begin(), fake.calls.end(), "pss_move2location 4 1");
  EXPECT_LT(closed, database);
  EXPECT_NE(database, fake.calls.end());
}

TEST_F(StartupTest, stateless_restart_without_a_startup_uri_restores_the_statuses_alone) {
  set_text(sch_pss_startup_uri, 64, "");
  fill_store(run, "from-running");
  fake.stateless = true;
  scheduler_enabled = 1;
  EXPECT_EQ(sch_pss_init(), 0);
  EXPECT_EQ(scheduler_enabled, 0);
  EXPECT_TRUE(schedule_names().empty());
  EXPECT_THAT(fake.calls_with("pss_open"),
              ElementsAre("pss_open running:scheduler_runtime", "pss_open running:scheduler_runtime_database"));
  EXPECT_EQ(fake.calls.back(), "pss_move2location 3 1");
  EXPECT_EQ(fake.traces(100).back(), "Stateless restart");
}

TEST_F(StartupTest, stateless_restart_without_a_startup_store_goes_on_empty_and_disabled) {
  put(run_db, key_hex(255, 3, "s"), "0700000009000000");
  fake.stateless = true;
  scheduler_enabled = 1;
  EXPECT_EQ(sch_pss_init(), 0);
  EXPECT_EQ(scheduler_enabled, 0);
  EXPECT_TRUE(schedule_names().empty());
  EXPECT_TRUE(fake.calls_with("pss_store").empty());
  EXPECT_TRUE(fake.calls_with("pss_close").empty());
  EXPECT_TRUE(fake.syslog.empty());
  const auto traces = fake.traces(100);
  EXPECT_THAT(std::vector(traces.end() - 3, traces.end()),
              ElementsAre("Stateless restart", "No startup config/Unable to open pss at startup:scheduler_startup",
                          broken_parts));
  EXPECT_EQ(fake.calls_with("pss_getvalue").size(), 1u) << "the statuses are restored all the same";
}

TEST_F(StartupTest, running_store_that_cannot_be_opened_is_66) {
  fake.errors["pss_open"] = broken;
  EXPECT_EQ(sch_pss_init(), 66);
  EXPECT_THAT(fake.calls_with("pss_open"), ElementsAre("pss_open running:scheduler_runtime"));
  EXPECT_TRUE(fake.calls_with("sysmgr").empty());
  EXPECT_THAT(take_traces(100), ElementsAre("Cannot open runtime pss at running:scheduler_runtime", broken_parts));
  EXPECT_THAT(take_syslog(), ElementsAre(open_run_message));
  EXPECT_EQ(pss_running, 0u);
}

TEST_F(StartupTest, database_store_that_cannot_be_opened_is_66) {
  fake.stores[run];
  fake.stores[run_db];
  fake.store = {4, false};  // create, open, create, open
  EXPECT_EQ(sch_pss_init(), 66);
  EXPECT_EQ(fake.traces(100)[2], "Cannot open runtime db pss at running:scheduler_runtime_database");
  EXPECT_EQ(fake.traces(100)[3], broken_parts);
  EXPECT_THAT(take_syslog(), ElementsAre(open_db_message));
  EXPECT_TRUE(fake.calls_with("sysmgr").empty());
  EXPECT_NE(pss_running, 0u);
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

TEST_F(StartupTest, standby_opens_existing_stores_and_restores_nothing) {
  fill_store(run, "s");
  fake.stores[run_db];
  EXPECT_EQ(sch_standby_pss_init(), 0);
  EXPECT_THAT(fake.calls,
              ElementsAre("pss_open running:scheduler_runtime", "pss_open running:scheduler_runtime_database"));
  EXPECT_EQ(pss_running, 1u);
  EXPECT_EQ(pss_running_db, 2u);
  EXPECT_TRUE(schedule_names().empty());
  EXPECT_TRUE(fake.history.empty());
}

TEST_F(StartupTest, standby_reports_creates_and_opens_again_what_it_cannot_open) {
  EXPECT_EQ(sch_standby_pss_init(), 0);
  const std::vector<std::string> open_run = {"pss_open running:scheduler_runtime"};
  const std::vector<std::string> open_db = {"pss_open running:scheduler_runtime_database"};
  EXPECT_EQ(fake.calls_with("pss_"), open_run + created(run, 1) + open_run + open_db + created(run_db, 3) + open_db);
  EXPECT_EQ(pss_running, 2u);
  EXPECT_EQ(pss_running_db, 4u);
  EXPECT_THAT(take_traces(100),
              ElementsAre("Cannot open runtime pss at running:scheduler_runtime", broken_parts,
                          "Cannot open runtime db pss at running:scheduler_runtime_database", broken_parts));
  EXPECT_THAT(take_syslog(), ElementsAre(open_run_message, open_db_message));
}

TEST_F(StartupTest, standby_reports_a_store_before_it_creates_it) {
  sch_standby_pss_init();
  EXPECT_LT(position_of("tarn_syslog"), position_of("pss_create"));
}

TEST_F(StartupTest, standby_answers_with_the_error_of_the_last_open) {
  fake.errors["pss_open"] = broken;
  EXPECT_EQ(sch_standby_pss_init(), static_cast<int>(broken));
  EXPECT_EQ(fake.calls_with("pss_open").size(), 4u) << "the second store is tried though the first failed";
  EXPECT_EQ(pss_running, 0u);
  EXPECT_EQ(pss_running_db, 0u);
  fake.reset();
  fake.stores[run_db];
  fake.store = {1, false};
  EXPECT_EQ(sch_standby_pss_init(), 0) << "only the first open failed";
}

TEST_F(StartupTest, failed_synchronisation_rebuilds_both_stores_empty) {
  fill_store(run, "s");
  put(run_db, key_hex(255, 3, "s"), "0700000009000000");
  set_text(sch_pss_running_uri, 64, "stale");
  set_text(sch_pss_running_db_uri, 64, "stale");
  pss_running = 77;
  EXPECT_EQ(sch_standby_pss_init_gsync_fail(), 0);
  const Calls uris = {"sysmgr_running_cfg_uri_get", "sysmgr_uri_complete running:  scheduler_runtime",
                      "sysmgr_uri_complete running:  scheduler_runtime_database"};
  const Calls destroy_run = {"pss_destroy running:scheduler_runtime"};
  const Calls destroy_db = {"pss_destroy running:scheduler_runtime_database"};
  const Calls open_run = {"pss_open running:scheduler_runtime"};
  const Calls open_db = {"pss_open running:scheduler_runtime_database"};
  EXPECT_EQ(fake.calls, uris + destroy_run + created(run, 1) + open_run + destroy_db + created(run_db, 3) + open_db);
  EXPECT_TRUE(fake.stores.at(run).records.empty());
  EXPECT_TRUE(fake.stores.at(run_db).records.empty());
  EXPECT_EQ(pss_running, 2u) << "the handle before is not closed first";
  EXPECT_EQ(pss_running_db, 4u);
  EXPECT_STREQ(sch_pss_running_uri, run);
  EXPECT_STREQ(sch_pss_running_db_uri, run_db);
  EXPECT_TRUE(fake.history.empty());
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
  fake.stores[run];
  fake.stores[run_db];
  fake.store = {12, false};  // destroy, create, three limits and open, twice
  EXPECT_EQ(sch_standby_pss_init_gsync_fail(), static_cast<int>(broken));
  EXPECT_EQ(fake.store.calls, 12);
  EXPECT_EQ(pss_running_db, 0u);
  EXPECT_TRUE(fake.history.empty());
}

}  // namespace
