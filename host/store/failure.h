// SPDX-License-Identifier: Apache-2.0
// A failure of the store as a status and in words.
#pragma once

#include <cstdint>
#include <string>

namespace host {

// Keeps "PATH: REASON; ADVICE" for store_last_error and gives `status` back.
uint32_t store_failed(uint32_t status, const std::string &path, const std::string &reason);
// The same with words that are complete.
uint32_t store_failed(uint32_t status, const std::string &words);

// `code` is LMDB's or errno's; 0 is 0. `data_file` tells a short write on a full disk from a broken one; -1: unknown.
uint32_t store_status(int code, const std::string &path, int data_file = -1);

}  // namespace host
