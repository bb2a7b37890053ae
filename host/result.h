// SPDX-License-Identifier: Apache-2.0
// How host, service and shell report failure: a value, or an error with its status code and its text.
#pragma once

#include <cassert>
#include <cstdint>
#include <string>
#include <utility>
#include <variant>

namespace host {

struct Error {
  uint32_t code = 0;  // a status of schedcli.h or host/status.h; never 0
  std::string text;   // what failed, where, and what to do; without a newline
};

template <typename Value>
class [[nodiscard]] Result {
 public:
  Result(Value value) : held_(std::in_place_index<0>, std::move(value)) {}
  Result(Error error) : held_(std::in_place_index<1>, std::move(error)) {}

  bool ok() const { return held_.index() == 0; }
  explicit operator bool() const { return ok(); }

  // Only after success.
  Value &operator*() { return *value(); }
  const Value &operator*() const { return *const_cast<Result *>(this)->value(); }
  Value *operator->() { return value(); }
  const Value *operator->() const { return const_cast<Result *>(this)->value(); }

  // Only after failure.
  const Error &error() const {
    assert(!ok());
    return *std::get_if<1>(&held_);
  }
  uint32_t code() const { return ok() ? 0 : error().code; }  // 0: success

 private:
  Value *value() {
    assert(ok());
    return std::get_if<0>(&held_);
  }

  std::variant<Value, Error> held_;
};

// For operations without a value.
template <>
class [[nodiscard]] Result<void> {
 public:
  Result() = default;
  Result(Error error) : error_(std::move(error)) {}

  bool ok() const { return error_.code == 0; }
  explicit operator bool() const { return ok(); }
  const Error &error() const {
    assert(!ok());
    return error_;
  }
  uint32_t code() const { return error_.code; }  // 0: success

 private:
  Error error_;
};

}  // namespace host
