// SPDX-License-Identifier: Apache-2.0
// Errors of stores, with texts that say what to do.
#pragma once

#include <cstdint>
#include <string>

#include "host/result.h"

namespace host {

// "PATH: REASON; ADVICE", with what to do about this status.
Error store_error(uint32_t status, const std::string &path, const std::string &reason);

// Turns an error of the state directory into one of the stores in it: err_store_absent when it is missing, otherwise
// err_not_permitted.
Error no_place_for_stores(Error error);

// `code` is LMDB's or errno's; 0 is success. `data_file`, if known (not -1), is asked whether an incomplete write was
// for lack of space.
Result<void> store_result(int code, const std::string &path, int data_file = -1);

// For the platform's C interface, which returns a status alone: keeps the text for store_last_error().
uint32_t status_of(const Error &error);
template <typename Value>
uint32_t status_of(const Result<Value> &result) {
  return result ? 0 : status_of(result.error());
}

}  // namespace host
