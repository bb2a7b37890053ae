// SPDX-License-Identifier: Apache-2.0
// What every target shares: the platform that keeps no record of calls, and the fuzzer's input taken apart.
#pragma once

#include <algorithm>
#include <string>

#include "tests/platform/platform.h"

namespace fuzz {

// A size beyond this is a lie of the input; memory is not what these targets look for.
inline constexpr uint32_t largest_block = 1 << 16;

// The library and the platform as they are loaded; what is never freed on purpose is given back.
inline void reset() {
  platform_test::reset_library();
  platform_test::fake.reset();
  platform_test::fake.scripted_libc = false;
  platform_test::fake.record_calls = false;
  platform_test::fake.largest_block = largest_block;
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

 private:
  const uint8_t *data_;
  size_t left_;
};

}  // namespace fuzz
