// SPDX-License-Identifier: Apache-2.0
// A reply of the show service: owned, and never read beyond what arrived.
#pragma once

#include <malloc.h>

#include <cstdlib>

#include "schedcli_requests.h"

namespace show {

class Reply {
 public:
  // `preset` is what the length word holds before the call.
  explicit Reply(uint32_t preset) : preset_(preset), length_(preset) {}
  ~Reply() { std::free(data_); }
  Reply(const Reply &) = delete;
  Reply &operator=(const Reply &) = delete;

  void **data_out() { return &data_; }
  uint32_t *length_out() { return &length_; }
  bool is_null() const { return data_ == nullptr; }

  template <typename Record>
  const Record *as() const {
    return static_cast<const Record *>(data_);
  }

  // A transport may leave the length word alone. The length is unknown then, but the reply is a heap block, and its
  // size still bounds what may be read.
  bool holds(uint64_t bytes) const {
    if (is_null()) return false;
    return bytes <= (length_ == preset_ ? malloc_usable_size(data_) : length_);
  }

 private:
  void *data_ = nullptr;
  const uint32_t preset_;
  uint32_t length_;
};

}  // namespace show
