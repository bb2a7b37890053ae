// SPDX-License-Identifier: Apache-2.0
// Takes a payload apart from the front. The request table has checked the payload's length, so that only a decoder that
// disagrees with the table can run out of bytes.
#pragma once

#include <cassert>
#include <cstring>
#include <string>
#include <string_view>
#include <type_traits>

#include "service/request/decode.h"

namespace service {

class PayloadReader {
 public:
  explicit PayloadReader(Payload payload) : rest_(payload) {}

  template <typename Record>
  Record take() {
    static_assert(std::is_trivially_copyable_v<Record>);
    Record record;
    std::memcpy(&record, bytes(sizeof record).data(), sizeof record);
    return record;
  }

  // A text field; the whole of it when it lacks its terminator: see terminated().
  std::string text(size_t size) {
    const Payload field = bytes(size);
    const char *start = reinterpret_cast<const char *>(field.data());
    const size_t length = strnlen(start, size);
    terminated_ = terminated_ && length < size;
    return {start, length};
  }

  std::string_view rest() const { return {reinterpret_cast<const char *>(rest_.data()), rest_.size()}; }
  bool terminated() const { return terminated_; }  // every text field so far

 private:
  Payload bytes(size_t size) {
    assert(size <= rest_.size());
    const Payload taken = rest_.first(size);
    rest_ = rest_.subspan(size);
    return taken;
  }

  Payload rest_;
  bool terminated_ = true;
};

}  // namespace service
