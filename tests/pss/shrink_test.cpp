// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>

#include "tests/pss/records.h"

using namespace pss_test;
using testing::ElementsAre;

namespace {

class ShrinkTest : public platform_test::PlatformTest {
 protected:
  void open_all() {
    pss_running = open_store("run");
    pss_running_db = open_store("db");
    debug_pss_running = open_store("debug");
    set_text(sch_pss_running_uri, 64, "run");
    set_text(sch_pss_running_db_uri, 64, "db");
    set_text(sch_debug_pss_running_uri, 64, "debug");
  }
  uint32_t status = 99;
};

TEST_F(ShrinkTest, free_space_at_the_bound_keeps_the_store) {
  const pss_handle store = open_store("run");
  fake.free_space = 500;
  EXPECT_EQ(sch_verify_pss_shrink(store, "run", 500, &status), store);
  EXPECT_EQ(status, 0u);
  EXPECT_THAT(fake.calls, ElementsAre("pss_free_space 1"));
  EXPECT_THAT(fake.traces(100),
              ElementsAre("Free space in run: 500 status: 0x0 ", "Freespace 500 max size 500. Uri run"));
}

TEST_F(ShrinkTest, free_space_over_the_bound_shrinks_and_changes_the_handle) {
  const pss_handle store = open_store("run");
  fake.free_space = 501;
  EXPECT_EQ(sch_verify_pss_shrink(store, "run", 500, &status), 2u);
  EXPECT_EQ(status, 0u);
  EXPECT_THAT(fake.calls, ElementsAre("pss_free_space 1", "pss_shrink 1"));
  EXPECT_THAT(fake.traces(100),
              ElementsAre("Free space in run: 501 status: 0x0 ", "Attempted pss shrink on run. status: 0x0\n"));
}

TEST_F(ShrinkTest, failed_shrink_answers_no_handle) {
  const pss_handle store = open_store("run");
  fake.free_space = 501;
  fake.errors["pss_shrink"] = 0x40480009;
  EXPECT_EQ(sch_verify_pss_shrink(store, "run", 500, &status), 0u);
  EXPECT_EQ(status, 0x40480009u);
  EXPECT_EQ(fake.traces(100).back(), "Attempted pss shrink on run. status: 0x40480009\n");
}

TEST_F(ShrinkTest, unknown_free_space_keeps_the_store) {
  const pss_handle store = open_store("run");
  fake.free_space = 501;
  fake.errors["pss_free_space"] = 0x40480009;
  EXPECT_EQ(sch_verify_pss_shrink(store, "run", 500, &status), store);
  EXPECT_EQ(status, 0x40480009u);
  EXPECT_THAT(fake.calls, ElementsAre("pss_free_space 1"));
  EXPECT_THAT(fake.traces(100),
              ElementsAre("Free space in run: 501 status: 0x40480009 ", "Freespace 501 max size 500. Uri run"));
}

TEST_F(ShrinkTest, all_three_stores_are_shrunk_in_order) {
  open_all();
  fake.free_space = 501;
  EXPECT_EQ(sch_pss_shrink(500), 0);
  EXPECT_THAT(fake.calls, ElementsAre("pss_free_space 1", "pss_shrink 1", "pss_free_space 2", "pss_shrink 2",
                                      "pss_free_space 3", "pss_shrink 3"));
  EXPECT_EQ(pss_running, 4u);
  EXPECT_EQ(pss_running_db, 5u);
  EXPECT_EQ(debug_pss_running, 6u);
  EXPECT_THAT(fake.traces(100),
              ElementsAre("Free space in run: 501 status: 0x0 ", "Attempted pss shrink on run. status: 0x0\n",
                          "Free space in db: 501 status: 0x0 ", "Attempted pss shrink on db. status: 0x0\n",
                          "Free space in debug: 501 status: 0x0 ", "Attempted pss shrink on debug. status: 0x0\n"));
}

TEST_F(ShrinkTest, failing_store_loses_its_handle_and_the_others_are_not_touched) {
  for (pss_handle failing : {1u, 2u, 3u}) {
    SCOPED_TRACE(failing);
    fake.reset();
    open_all();
    fake.free_space = 501;
    fake.shrink_fails = {failing};
    EXPECT_EQ(sch_pss_shrink(500), 0x40480009);
    EXPECT_EQ(fake.calls_with("pss_shrink").size(), failing);
    EXPECT_EQ(fake.calls_with("pss_free_space").size(), failing);
    EXPECT_EQ(pss_running, failing == 1 ? 0u : 4u);
    EXPECT_EQ(pss_running_db, failing == 1 ? 2u : failing == 2 ? 0u : 5u);
    EXPECT_EQ(debug_pss_running, failing == 3 ? 0u : 3u);
  }
}

TEST_F(ShrinkTest, unknown_free_space_ends_the_round_and_keeps_every_handle) {
  open_all();
  fake.free_space = 501;
  fake.store = {3, false};  // free space and shrink of the first, free space of the second
  EXPECT_EQ(sch_pss_shrink(500), 0x40480009);
  EXPECT_THAT(fake.calls, ElementsAre("pss_free_space 1", "pss_shrink 1", "pss_free_space 2"));
  EXPECT_EQ(pss_running, 4u);
  EXPECT_EQ(pss_running_db, 2u);
  EXPECT_EQ(debug_pss_running, 3u);
}

TEST_F(ShrinkTest, bound_and_free_space_beyond_2_gigabytes_compare_as_they_are) {
  const struct {
    uint32_t free, bound;
    bool shrinks;
  } cases[] = {{0x80000000, 1, true}, {1, 0x80000000, false}, {0xffffffff, 0xffffffff, false}, {1, 0, true}};
  for (const auto &c : cases) {
    SCOPED_TRACE(c.free);
    fake.reset();
    const pss_handle store = open_store("run");
    fake.free_space = c.free;
    sch_verify_pss_shrink(store, "run", c.bound, &status);
    EXPECT_EQ(fake.calls_with("pss_shrink").size(), c.shrinks ? 1u : 0u);
  }
}

TEST_F(ShrinkTest, free_space_is_traced_before_and_the_attempt_after_the_shrink) {
  const pss_handle store = open_store("run");
  fake.free_space = 501;
  fake.record_traces = true;
  sch_verify_pss_shrink(store, "run", 500, &status);
  EXPECT_LT(position_of("pss_free_space"), position_of("sdwrap_hist_event 100 Free space"));
  EXPECT_LT(position_of("sdwrap_hist_event 100 Free space"), position_of("pss_shrink"));
  EXPECT_LT(position_of("pss_shrink"), position_of("sdwrap_hist_event 100 Attempted"));
  EXPECT_LT(position_of("sdwrap_hist_event 100 Attempted"), fake.calls.size());
}

TEST_F(ShrinkTest, uri_that_fills_its_buffer_is_traced_whole) {
  open_all();
  set_text(sch_pss_running_uri, 64, std::string(64, 'u'));
  set_text(sch_pss_running_db_uri, 64, "db");
  sch_pss_shrink(500);
  EXPECT_EQ(fake.traces(100)[0], "Free space in " + std::string(64, 'u') + ": 0 status: 0x0 ");
}

}  // namespace
