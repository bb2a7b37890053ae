// SPDX-License-Identifier: Apache-2.0
#include "diag/short_blocks.h"

#include <new>

#include "platform/memory.h"
#include "tests/platform/platform.h"

using namespace platform_test;

namespace {

class ShortBlocks : public PlatformTest {
 protected:
  void TearDown() override {
    forget_short_block(block_);
    PlatformTest::TearDown();
  }
  char block_[8] = "content";
};

TEST_F(ShortBlocks, block_that_nobody_noted_is_whole) {
  EXPECT_EQ(readable_of(block_, 8), 8u);
  EXPECT_EQ(readable_of(block_, 0), 0u);
}

TEST_F(ShortBlocks, noted_block_gives_no_more_than_its_size) {
  for (const uint32_t size : {3u, 0u}) {
    note_short_block(block_, size);
    EXPECT_EQ(readable_of(block_, 8), size);
    EXPECT_EQ(readable_of(block_, size), size);
    EXPECT_EQ(readable_of(block_, 2), std::min(2u, size));
    EXPECT_EQ(readable_of(block_ + 1, 8), 8u);
  }
}

TEST_F(ShortBlocks, smaller_of_two_notes_stays) {
  note_short_block(block_, 3);
  note_short_block(block_, 5);
  EXPECT_EQ(readable_of(block_, 8), 3u);
}

// A block that did not come from the allocator: what was noted of the block before it in the same place was not
// dropped.
TEST_F(ShortBlocks, other_content_in_a_noted_place_is_whole) {
  note_short_block(block_, 3);
  block_[2] = 'N';
  EXPECT_EQ(readable_of(block_, 8), 8u);
  block_[2] = 'n';
  block_[3] = 'T';
  EXPECT_EQ(readable_of(block_, 8), 3u) << "the note ends before it";
  note_short_block(block_, 1);
  block_[0] = 'C';
  EXPECT_EQ(readable_of(block_, 8), 8u);
}

TEST_F(ShortBlocks, forgotten_block_is_whole_and_may_be_forgotten_again) {
  note_short_block(block_, 3);
  forget_short_block(block_);
  EXPECT_EQ(readable_of(block_, 8), 8u);
  forget_short_block(block_);
  EXPECT_EQ(readable_of(block_, 8), 8u);
}

TEST_F(ShortBlocks, block_allocated_in_its_place_is_whole) {
  void *place = ::operator new(8);
  note_short_block(place, 3);
  fake.next_block = place;
  EXPECT_EQ(sch_malloc_check(8, 7, 0, "add job entry"), place);
  EXPECT_EQ(readable_of(place, 8), 8u);
  mtrack_free(place);
}

TEST_F(ShortBlocks, freed_fragment_is_forgotten) {
  void *fragment = mtrack_alloc(224, 7, 8);
  note_short_block(fragment, 3);
  free_fragment(fragment, nullptr);
  EXPECT_EQ(readable_of(fragment, 8), 8u);
}

}  // namespace
