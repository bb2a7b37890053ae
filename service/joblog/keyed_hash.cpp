// SPDX-License-Identifier: Apache-2.0
#include "service/joblog/keyed_hash.h"

#include <algorithm>
#include <bit>
#include <cstring>

namespace service {
namespace {

// Hashes are stored, so they must not depend on the machine's byte order.
uint64_t little_endian(const void *bytes) {
  uint64_t word;
  std::memcpy(&word, bytes, sizeof word);
  return std::endian::native == std::endian::little ? word : __builtin_bswap64(word);
}

struct State {
  uint64_t a, b, c, d;

  void mix(int rounds) {
    while (rounds-- > 0) {
      a += b;
      c += d;
      b = std::rotl(b, 13) ^ a;
      d = std::rotl(d, 16) ^ c;
      a = std::rotl(a, 32);
      c += b;
      a += d;
      b = std::rotl(b, 17) ^ c;
      d = std::rotl(d, 21) ^ a;
      c = std::rotl(c, 32);
    }
  }
  void take(uint64_t word) {
    d ^= word;
    mix(2);
    a ^= word;
  }
};

}  // namespace

uint64_t keyed_hash(std::span<const uint8_t, hash_key_size> key, std::span<const std::byte> bytes) {
  const uint64_t low = little_endian(key.data()), high = little_endian(key.data() + 8);
  State state = {low ^ 0x736f6d6570736575, high ^ 0x646f72616e646f6d, low ^ 0x6c7967656e657261,
                 high ^ 0x7465646279746573};
  const size_t words = bytes.size() / 8;
  for (size_t i = 0; i < words; i++)
    state.take(little_endian(bytes.data() + i * 8));
  std::byte last[8] = {};
  std::ranges::copy(bytes.subspan(words * 8), last);
  last[7] = static_cast<std::byte>(bytes.size());
  state.take(little_endian(last));
  state.c ^= 0xff;
  state.mix(4);
  return state.a ^ state.b ^ state.c ^ state.d;
}

}  // namespace service
