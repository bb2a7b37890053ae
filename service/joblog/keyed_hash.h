// SPDX-License-Identifier: Apache-2.0
// SipHash-2-4: a hash of 64 bits under a key of 128 bits, not predictable without the key. It is so short that the
// service needs no cryptographic library for it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace service {

inline constexpr size_t hash_key_size = 16;

uint64_t keyed_hash(std::span<const uint8_t, hash_key_size> key, std::span<const std::byte> bytes);

}  // namespace service
