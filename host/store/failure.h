// SPDX-License-Identifier: Apache-2.0
// What failed in a store, with the words for whoever has to mend it.
#pragma once

#include <cstdint>
#include <string>

#include "host/result.h"

namespace host {

// "PATH: REASON; ADVICE", with what to do about this status.
Error store_error(uint32_t status, const std::string &path, const std::string &reason);

// The state directory cannot be used: what that is for a store in it.
Error no_place_for_stores(Error error);

// `code` is LMDB's or errno's; 0 is success. `data_file` tells a short write on a full disk from a broken one; -1:
// unknown.
Result<void> store_result(int code, const std::string &path, int data_file = -1);

// At the platform's C interface, which hands out a status alone: the words stay for store_last_error().
uint32_t status_of(const Error &error);
template <typename Value>
uint32_t status_of(const Result<Value> &result) {
  return result ? 0 : status_of(result.error());
}

}  // namespace host
