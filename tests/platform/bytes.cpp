// SPDX-License-Identifier: Apache-2.0
#include "tests/platform/platform.h"

namespace platform_test {

std::string hex(const void *data, size_t length) {
  static constexpr char digits[] = "0123456789abcdef";
  const auto *bytes = static_cast<const unsigned char *>(data);
  std::string text;
  for (size_t i = 0; i < length; ++i)
    text += {digits[bytes[i] >> 4], digits[bytes[i] & 15]};
  return text;
}

std::string unhex(const std::string &text) {
  std::string digits, bytes;
  for (const char character : text)
    if (character != ' ' && character != '\n') digits += character;
  for (size_t i = 0; i + 1 < digits.size(); i += 2)
    bytes += static_cast<char>(std::stoi(digits.substr(i, 2), nullptr, 16));
  return bytes;
}

}  // namespace platform_test
