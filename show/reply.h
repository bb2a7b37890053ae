// SPDX-License-Identifier: Apache-2.0
// A reply of the show service: owned, and never read beyond what arrived.
#pragma once

#include <malloc.h>

#include <cstddef>
#include <cstdlib>

#include "schedcli.h"

static_assert(sizeof(sch_show_job_reply) == 44 && offsetof(sch_show_job_reply, length) == 40);
static_assert(sizeof(sch_show_schedule_reply) == 820 && offsetof(sch_show_schedule_reply, time) == 36 &&
              offsetof(sch_show_schedule_reply, last_completion) == 80 &&
              offsetof(sch_show_schedule_reply, user) == 88 && offsetof(sch_show_schedule_reply, emails) == 140);
static_assert(sizeof(sch_job_status_entry) == 36 && offsetof(sch_job_status_entry, wait_status) == 32);
static_assert(sizeof(sch_log_entry) == 128 && offsetof(sch_log_entry, wait_status) == 112 &&
              offsetof(sch_log_entry, piece_length) == 124);

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
