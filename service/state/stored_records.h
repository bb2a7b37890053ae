// SPDX-License-Identifier: Apache-2.0
// The records of a store that is not the one in use, as they are on disk.
#pragma once

#include <functional>

#include "platform/pss.h"

namespace service {

// None if the store does not exist or cannot be opened.
void for_each_stored_record(const char *uri,
                            const std::function<void(const pss_buf &key, const pss_buf &value)> &visit);

}  // namespace service
