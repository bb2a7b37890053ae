// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "tests/pss/records.h"

using namespace pss_test;

namespace {

class ShrinkTest : public platform_test::PlatformTest {
 protected:
  uint32_t status = 99;
};

TEST_F(ShrinkTest, handle_and_status_by_free_space_and_error) {
  const struct {
    uint32_t free;
    const char *failing;
    pss_handle handle;
    uint32_t status;
  } rows[] = {
      {500, "", 1, 0}, {501, "", 2, 0}, {501, "pss_shrink", 0, 0x40480009}, {501, "pss_free_space", 1, 0x40480009}};
  for (const auto &row : rows) {
    fake.reset();
    fake.free_space = row.free;
    fake.errors = {{row.failing, 0x40480009}};
    EXPECT_EQ(sch_verify_pss_shrink(open_store("run"), "run", 500, &status), row.handle) << row.failing;
    EXPECT_EQ(status, row.status);
  }
}

TEST_F(ShrinkTest, all_three_stores_are_shrunk) {
  open_all_stores();
  fake.free_space = 501;
  EXPECT_EQ(sch_pss_shrink(500), 0);
  EXPECT_EQ(pss_running, 4u);
  EXPECT_EQ(pss_running_db, 5u);
  EXPECT_EQ(debug_pss_running, 6u);
}

TEST_F(ShrinkTest, failing_store_loses_its_handle_and_the_others_are_not_touched) {
  for (pss_handle failing : {1u, 2u, 3u}) {
    SCOPED_TRACE(failing);
    fake.reset();
    open_all_stores();
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
  open_all_stores();
  fake.free_space = 501;
  fake.store = {3, false};  // free space and shrink of the first, free space of the second
  EXPECT_EQ(sch_pss_shrink(500), 0x40480009);
  EXPECT_EQ(fake.calls_with("pss_shrink").size(), 1u);
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

TEST_F(ShrinkTest, uri_that_fills_its_buffer_is_traced_whole) {
  open_all_stores();
  set_text(sch_pss_running_uri, 64, std::string(64, 'u'));
  set_text(sch_pss_running_db_uri, 64, "db");
  sch_pss_shrink(500);
  EXPECT_EQ(fake.traces(100)[0], "Free space in " + std::string(64, 'u') + ": 0 status: 0x0 ");
}

}  // namespace
