// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>

#include "tests/pss/records.h"

using namespace pss_test;
using testing::ElementsAre;

namespace {

class SnapshotTest : public platform_test::PlatformTest {
 protected:
  void SetUp() override {
    PlatformTest::SetUp();
    put("from", key_hex(2, 0, ""), "01000000");
  }
};

TEST_F(SnapshotTest, whole_store_is_copied_and_the_source_closed) {
  EXPECT_EQ(sch_pss_snapshot("from", "to"), 0);
  EXPECT_THAT(fake.calls, ElementsAre("pss_open from", "pss_snapshot 1 0 to", "pss_close 1"));
  EXPECT_EQ(fake.stores.at("to").records, fake.stores.at("from").records);
  EXPECT_TRUE(fake.history.empty());
  EXPECT_TRUE(fake.syslog.empty());
}

TEST_F(SnapshotTest, unopenable_source_fails_without_a_system_message) {
  EXPECT_EQ(sch_pss_snapshot("nowhere", "to"), -1);
  EXPECT_THAT(fake.calls, ElementsAre("pss_open nowhere"));
  EXPECT_THAT(take_traces(100), ElementsAre("No startup config/Unable to open pss at nowhere"));
  EXPECT_TRUE(fake.syslog.empty());
}

TEST_F(SnapshotTest, failed_copy_is_raised_and_the_source_closed) {
  fake.errors["pss_snapshot"] = 0x40480009;
  EXPECT_EQ(sch_pss_snapshot("from", "to"), -1);
  EXPECT_THAT(fake.calls_with("pss_"), ElementsAre("pss_open from", "pss_snapshot 1 0 to", "pss_close 1"));
  EXPECT_THAT(take_traces(100), ElementsAre("PSS from to to snapshot failed", "Syserr - type:1 facility:576 number:9"));
  EXPECT_THAT(take_syslog(), ElementsAre("2 <<%SCHEDULER-2-SCH_SYSLOG_PSS_SNAPSHOT_ERR>> Source URI:from "
                                         "Destination URI:to errcode:1078460425"));
}

TEST_F(SnapshotTest, failed_copy_is_traced_before_it_is_raised_and_raised_before_the_source_is_closed) {
  fake.errors["pss_snapshot"] = 0x40480009;
  fake.record_traces = true;
  sch_pss_snapshot("from", "to");
  EXPECT_LT(position_of("sdwrap_hist_event 100 Syserr"), position_of("tarn_syslog"));
  EXPECT_LT(position_of("tarn_syslog"), position_of("pss_close"));
}

TEST_F(SnapshotTest, failed_close_does_not_change_the_result) {
  fake.errors["pss_close"] = 1;
  EXPECT_EQ(sch_pss_snapshot("from", "to"), 0);
}

}  // namespace
