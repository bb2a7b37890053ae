// SPDX-License-Identifier: Apache-2.0
// What failed in a store, with the words for whoever has to mend it.
#pragma once

#include <cstdint>
#include <string>

#include "host/result.h"

namespace host {

// "PATH: REASON; ADVICE", with what to do about this status.
Error store_error(uint32_t status, const std::string &path, const std::string &reason);

// The error of the state directory as one of the stores in it: err_store_absent where it is missing, otherwise
// err_not_permitted.
Error no_place_for_stores(Error error);

// `code` is LMDB's or errno's; 0 is success. `data_file`, when it is known (not -1), tells
// whether a short write was for want of space.
Result<void> store_result(int code, const std::string &path, int data_file = -1);

// For the platform's C interface, which hands out a status alone: keeps the text for store_last_error().
uint32_t status_of(const Error &error);
template <typename Value>
uint32_t status_of(const Result<Value> &result) {
  return result ? 0 : status_of(result.error());
}

}  // namespace host
