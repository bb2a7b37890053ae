// SPDX-License-Identifier: Apache-2.0
// Seeded choices: the same seed gives the same configuration on every machine.
#pragma once

#include <cstdint>
#include <string>

namespace pss_test {

class Random {
 public:
  explicit Random(uint64_t seed) : state_(seed) {}

  uint64_t word() {
    uint64_t z = state_ += 0x9e3779b97f4a7c15;
    z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9;
    z = (z ^ (z >> 27)) * 0x94d049bb133111eb;
    return z ^ (z >> 31);
  }
  int from_to(int first, int last) {
    return first + static_cast<int>(word() % static_cast<uint64_t>(last - first + 1));
  }
  bool one_in(int n) { return from_to(1, n) == 1; }
  template <class Container>
  const auto &pick(const Container &all) {
    return all[static_cast<size_t>(from_to(0, static_cast<int>(std::size(all)) - 1))];
  }
  std::string of(const std::string &alphabet, int length) {
    std::string text;
    while (static_cast<int>(text.size()) < length)
      text += pick(alphabet);
    return text;
  }
  std::string bytes(int length) {
    std::string text;
    while (static_cast<int>(text.size()) < length)
      text += static_cast<char>(word());
    return text;
  }
  std::string name(int longest = 31) {
    static const std::string first = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789";
    return of(first, 1) + of(first + "_-", from_to(0, longest - 1));
  }

 private:
  uint64_t state_;
};

}  // namespace pss_test
