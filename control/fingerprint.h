// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string_view>

namespace control {

// Shows whether a text has changed. Not against deliberate collisions: 64-bit FNV-1a, never 0.
constexpr uint64_t fingerprint(std::string_view text) {
  uint64_t hash = 14695981039346656037u;
  for (const char letter : text)
    hash = (hash ^ static_cast<unsigned char>(letter)) * 1099511628211u;
  return hash == 0 ? 1 : hash;
}

}  // namespace control
