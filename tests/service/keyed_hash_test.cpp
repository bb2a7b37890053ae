// SPDX-License-Identifier: Apache-2.0
#include "service/joblog/keyed_hash.h"

#include <gtest/gtest.h>
#include <sodium.h>

#include <cstring>
#include <vector>

namespace service_test {
namespace {

TEST(KeyedHash, every_length_gives_what_another_implementation_gives) {
  unsigned char key[crypto_shorthash_KEYBYTES];
  for (size_t i = 0; i < sizeof key; i++)
    key[i] = static_cast<unsigned char>(255 - 7 * i);
  for (size_t length = 0; length <= 300; length++) {
    std::vector<unsigned char> bytes(length);
    for (size_t i = 0; i < length; i++)
      bytes[i] = static_cast<unsigned char>(i * 31 + length);
    unsigned char expected[crypto_shorthash_BYTES];
    crypto_shorthash(expected, bytes.data(), length, key);
    uint64_t value;
    std::memcpy(&value, expected, sizeof value);
    EXPECT_EQ(service::keyed_hash(key, std::as_bytes(std::span(bytes))), value) << length;
  }
}

}  // namespace
}  // namespace service_test
