// SPDX-License-Identifier: Apache-2.0
// What every target shares: the fuzzer's input taken apart, and what must hold whatever it was.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace fuzz {

inline void require(bool holds, const char *what) {
  if (holds) return;
  std::fprintf(stderr, "not true: %s\n", what);
  std::abort();
}

// Lengths are little-endian, what is missing at the end is empty.
class Input {
 public:
  Input(const uint8_t *data, size_t size) : data_(data), left_(size) {}
  bool empty() const { return left_ == 0; }
  uint8_t byte() {
    if (left_ == 0) return 0;
    --left_;
    return *data_++;
  }
  std::string bytes(size_t length) {
    const size_t taken = std::min(length, left_);
    std::string text(reinterpret_cast<const char *>(data_), taken);
    data_ += taken;
    left_ -= taken;
    return text;
  }
  std::string rest() { return bytes(left_); }
  std::string sized_by_one_byte() { return bytes(byte()); }
  std::string sized_by_two_bytes() {
    const size_t low = byte();
    return bytes(low | static_cast<size_t>(byte()) << 8);
  }
  uint32_t number() {
    uint32_t value = 0;
    for (unsigned shift = 0; shift < 32; shift += 8)
      value |= static_cast<uint32_t>(byte()) << shift;
    return value;
  }

 private:
  const uint8_t *data_;
  size_t left_;
};

}  // namespace fuzz
