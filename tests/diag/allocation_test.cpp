// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>

#include <algorithm>

#include "platform/memory.h"
#include "tests/platform/platform.h"

using namespace platform_test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;

namespace {

class Allocation : public PlatformTest {};

TEST_F(Allocation, success_tags_the_block_and_fills_it_with_zero) {
  auto *block = static_cast<unsigned char *>(sch_malloc_check(40, 5, 0, "add config entry"));
  ASSERT_NE(block, nullptr);
  EXPECT_TRUE(std::all_of(block, block + 40, [](unsigned char byte) { return byte == 0; }));
  EXPECT_THAT(fake.calls, ElementsAre("mtrack_alloc 224 5 40"));
  EXPECT_THAT(fake.live, ElementsAre(Pair(5, 1)));
  EXPECT_THAT(fake.history, IsEmpty());
  mtrack_free(block);
  EXPECT_EQ(fake.live_blocks(), 0);
}

TEST_F(Allocation, flags_are_accepted_and_ignored) {
  mtrack_free(sch_malloc_check(12, 6, 0xffffffff, "add job entry"));
  EXPECT_THAT(fake.calls_with("mtrack_alloc"), ElementsAre("mtrack_alloc 224 6 12"));
}

TEST_F(Allocation, zero_size_returns_what_the_tracker_returns) {
  void *block = sch_malloc_check(0, 7, 0, "add job entry");
  EXPECT_NE(block, nullptr);
  EXPECT_THAT(fake.calls, ElementsAre("mtrack_alloc 224 7 0"));
  mtrack_free(block);
}

TEST_F(Allocation, failure_reaches_standard_error_only_above_level_103_and_the_message_is_raised_whatever_is_closed) {
  const struct {
    int32_t level;
    const char *expected;
  } rows[] = {{0, ""}, {103, ""}, {104, "Malloc FAILED: add job entry\n"}, {1000, "Malloc FAILED: add job entry\n"}};
  for (const auto &row : rows) {
    fake.reset();
    fake.alloc.nth = 1;
    fake.history_allowed = fake.buginf_allowed = false;
    cli_debug = 1;  // that of the commands, not of these traces
    debug_level = row.level;
    const Output output = capture([] { EXPECT_EQ(sch_malloc_check(12, 6, 0, "add job entry"), nullptr); });
    EXPECT_EQ(output.err, row.expected) << row.level;
    EXPECT_EQ(output.out, "");
    EXPECT_THAT(fake.syslog,
                ElementsAre(Pair(2, "<<%SCHEDULER-2-SCH_SYSLOG_MALLOC_ERR>> Out of memory: add job entry")));
    EXPECT_TRUE(fake.history.empty() && fake.buginf.empty());
  }
}

}  // namespace
