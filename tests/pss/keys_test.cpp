// SPDX-License-Identifier: Apache-2.0
#include "tests/pss/records.h"

using namespace platform_test;
using pss_test::key_hex;

namespace {

constexpr const char *full_name = "abcdefghijklmnopqrstuvwxyz012345";  // 32 characters, no room for a terminator

sch_config_key config_key(uint32_t type, uint32_t fragment, const char *name) {
  sch_config_key key{type, fragment, {}};
  pss_test::set_text(key.name, sizeof key.name, name);
  return key;
}

struct KeyCase {
  uint32_t first, second;
  const char *name;
  std::string golden;
};

const KeyCase cases[] = {
    {2, 0, "", "0000000200000000" + pss_test::zeros(32)},
    {1, 0x01020304, "job", "00000001010203046a6f62" + pss_test::zeros(29)},
    {255, 255, full_name, "000000ff000000ff6162636465666768696a6b6c6d6e6f707172737475767778797a303132333435"},
    {0xfffefdfc, 0x80000000, "n", "fffefdfc800000006e" + pss_test::zeros(31)},
};

TEST(Keys, config_key_is_stored_with_big_endian_words_and_its_name_as_it_is) {
  for (const KeyCase &c : cases) {
    sch_config_key key = config_key(c.first, c.second, c.name);
    sch_hton_config_key(&key);
    EXPECT_EQ(hex(&key, sizeof key), c.golden);
    EXPECT_EQ(key_hex(c.first, c.second, c.name), c.golden);
  }
}

TEST(Keys, config_key_comes_back_to_host_order) {
  for (const KeyCase &c : cases) {
    sch_config_key key;
    const std::string stored = unhex(c.golden);
    std::copy(stored.begin(), stored.end(), reinterpret_cast<char *>(&key));
    sch_ntoh_config_key(&key);
    EXPECT_EQ(key.type, c.first);
    EXPECT_EQ(key.fragment, c.second);
    EXPECT_EQ(std::string(key.name, strnlen(key.name, sizeof key.name)), c.name);
  }
}

TEST(Keys, runtime_key_is_converted_both_ways) {
  for (const KeyCase &c : cases) {
    sch_runtime_key key{c.first, c.second, {}};
    pss_test::set_text(key.name, sizeof key.name, c.name);
    const std::string in_memory = hex(&key, sizeof key);
    sch_hton_runtime_key(&key);
    EXPECT_EQ(hex(&key, sizeof key), c.golden);
    sch_ntoh_runtime_key(&key);
    EXPECT_EQ(hex(&key, sizeof key), in_memory);
  }
}

TEST(Keys, bytes_of_fragment_numbers_ascend_with_the_numbers) {
  std::string before;
  for (uint32_t fragment : {0u, 1u, 255u, 256u, 65535u, 65536u, 0xffffffffu}) {
    sch_config_key key = config_key(SCH_CONFIG_JOB, fragment, "job");
    sch_hton_config_key(&key);
    const std::string bytes(reinterpret_cast<const char *>(&key), sizeof key);
    EXPECT_LT(before, bytes);
    before = bytes;
  }
}

}  // namespace
