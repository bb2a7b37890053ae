// SPDX-License-Identifier: Apache-2.0
#include "tests/pss/records.h"

using namespace pss_test;

namespace {

class SnapshotTest : public platform_test::PlatformTest {};

TEST_F(SnapshotTest, whole_store_is_copied_whether_it_can_be_closed_or_not) {
  put("from", key_hex(2, 0, ""), "01000000");
  for (const uint32_t error : {0u, 1u}) {
    fake.errors["pss_close"] = error;
    EXPECT_EQ(sch_pss_snapshot("from", "to"), 0);
    EXPECT_EQ(fake.stores.at("to").records, fake.stores.at("from").records);
    fake.stores.erase("to");
  }
}

}  // namespace
