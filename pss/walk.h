// SPDX-License-Identifier: Apache-2.0
// The keys of a store in its order, and their values. What is returned is the store's.
#pragma once

#include "platform/pss.h"

class StoreWalk {
 public:
  explicit StoreWalk(pss_handle store) : store_(store) {}

  // Null at the end.
  const pss_buf *first() { return move(PSS_FIRST); }
  const pss_buf *next() { return move(PSS_NEXT); }

  // Of the current key; null when it cannot be read.
  const pss_buf *value() {
    cursor_.error = 0;
    const pss_buf *result = pss_getvalue(store_, &cursor_);
    return failed() ? nullptr : result;
  }

  // Whether the last of these calls reported an error.
  bool failed() const { return cursor_.error != 0; }

 private:
  // Cleared first, because a store may leave the error alone on success: an earlier record's error must not end the
  // walk.
  const pss_buf *move(uint32_t where) {
    cursor_.error = 0;
    return pss_move2location(store_, where, &cursor_);
  }

  pss_handle store_;
  pss_cursor cursor_ = {};
};
