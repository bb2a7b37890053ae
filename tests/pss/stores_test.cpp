// SPDX-License-Identifier: Apache-2.0
// Where the stores are, how they are created, how they are closed.
#include <gmock/gmock.h>

#include "tests/pss/records.h"

using namespace pss_test;
using testing::UnorderedElementsAre;

namespace {

class StoresTest : public platform_test::PlatformTest {};

TEST_F(StoresTest, uris_are_completed_from_their_three_bases) {
  EXPECT_EQ(sch_pss_uri_init(), 0);
  EXPECT_STREQ(sch_pss_running_uri, "running:scheduler_runtime");
  EXPECT_STREQ(sch_pss_running_db_uri, "running:scheduler_runtime_database");
  EXPECT_STREQ(sch_debug_pss_running_uri, "running:scheduler_debug_runtime");
  EXPECT_STREQ(sch_pss_startup_uri, "startup:scheduler_startup");
  EXPECT_STREQ(sch_debug_pss_startup_uri, "debug:scheduler_debug_startup");
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

TEST_F(StoresTest, size_argument_is_not_used) {
  EXPECT_EQ(sch_pss_create("some:store", 0, 7, 3), 0);
  EXPECT_THAT(fake.calls, UnorderedElementsAre("pss_create some:store", "pss_max_key 1 3", "pss_version_set 1 1 1",
                                               "pss_max_value 1 7"));
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
  EXPECT_EQ(fake.stores.at("some:store").max_key, 7);
}

TEST_F(StoresTest, refused_version_is_not_looked_at) {
  fake.errors["pss_version_set"] = 0x40480009;
  EXPECT_EQ(sch_pss_create("some:store", 1024, 1024, 40), 0);
  EXPECT_EQ(fake.calls.back(), "pss_max_value 1 1024");
  EXPECT_TRUE(fake.history.empty());
}

TEST_F(StoresTest, closing_forgets_the_two_stores_and_answers_for_the_system_services) {
  pss_running = open_store("a");
  pss_running_db = open_store("b");
  debug_pss_running = open_store("c");
  int arg = 0;
  fake.errors["sdwrap_sys_clean"] = 23;
  EXPECT_EQ(sch_pss_close_handles(&arg), 23);
  EXPECT_EQ(pss_running, 0u);
  EXPECT_EQ(pss_running_db, 0u);
  EXPECT_EQ(debug_pss_running, 3u);
}

}  // namespace
