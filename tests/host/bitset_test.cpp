// SPDX-License-Identifier: Apache-2.0
#include "platform/bitset.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

std::vector<int> walk(const std::vector<uint32_t> &set, int bits) {
  std::vector<int> found;
  for (int bit = bitset_next_bit(set.data(), bits, -1); bit >= 0; bit = bitset_next_bit(set.data(), bits, bit)) {
    found.push_back(bit);
  }
  return found;
}

struct Case {
  const char *name;
  std::vector<uint32_t> set;
  int bits;
  std::vector<int> found;
};

const Case cases[] = {
    {"empty", {0, 0, 0, 0, 0, 0, 0, 0}, 256, {}},
    {"no_bits", {0xffffffff}, 0, {}},
    {"first_and_last", {1, 0, 0, 0, 0, 0, 0, 0x80000000}, 256, {0, 255}},
    {"across_words", {0x80000000, 0x00000001, 0, 0x00000100}, 128, {31, 32, 104}},
    {"bit_behind_the_end", {0x00000110}, 8, {4}},
    {"end_within_a_word", {0xffffffff, 0xffffffff}, 34, {0,  1,  2,  3,  4,  5,  6,  7,  8,  9,  10, 11,
                                                         12, 13, 14, 15, 16, 17, 18, 19, 20, 21, 22, 23,
                                                         24, 25, 26, 27, 28, 29, 30, 31, 32, 33}},
};

class BitSetWalk : public testing::TestWithParam<Case> {};

TEST_P(BitSetWalk, visits_the_set_bits_in_ascending_order) {
  EXPECT_EQ(walk(GetParam().set, GetParam().bits), GetParam().found);
}

INSTANTIATE_TEST_SUITE_P(, BitSetWalk, testing::ValuesIn(cases), [](const auto &test) { return test.param.name; });

TEST(bit_set, starting_at_the_last_bit_finds_none) {
  const uint32_t set[] = {0xffffffff};
  EXPECT_EQ(bitset_next_bit(set, 32, 31), -1);
}

}  // namespace
