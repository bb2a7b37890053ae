// SPDX-License-Identifier: Apache-2.0
// Values into records: a stored value may have any length.
#pragma once

#include <algorithm>
#include <cstring>

#include "db/text_field.h"
#include "platform/pss.h"

// A longer value is cut, a shorter one leaves the rest of the record as it was.
inline void copy_at_most(void *record, size_t size, const pss_buf &value) {
  const size_t count = std::min<size_t>(size, value.length);
  if (count != 0) std::memcpy(record, value.data, count);
}
