// SPDX-License-Identifier: Apache-2.0
// The content of a store's file: one ordered table. Its first record describes the store, the others are the caller's.
// Each key begins with a byte that tells the two apart.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "host/result.h"

namespace host {

inline constexpr std::byte description_prefix{0};  // sorts before every record
inline constexpr std::byte record_prefix{1};
inline constexpr uint32_t largest_key = 510;      // LMDB takes 511 bytes, one of them is the prefix
inline constexpr uint32_t largest_value = 65535;  // the largest limit that pss_max_value() can set

inline constexpr char store_magic[8] = {'s', 'c', 'h', 'e', 'd', 'p', 's', 's'};
inline constexpr uint32_t store_byte_order = 0x01020304;

struct StoreDescription {
  char magic[8];
  uint32_t byte_order;
  uint32_t word_size;
  uint32_t max_key;
  uint32_t max_value;
  uint32_t major;
  uint32_t minor;
};
static_assert(sizeof(StoreDescription) == 32);

StoreDescription new_description();

// Checks the whole file without LMDB, which trusts page numbers and crashes on a truncated file. err_store_absent,
// err_store_unusable, or the error of opening the file.
Result<void> check_store_file(const std::string &path);

}  // namespace host
