// SPDX-License-Identifier: Apache-2.0
#include "service/state/stored_records.h"

#include "host/store/store.h"

namespace service {

void for_each_stored_record(const char *uri,
                            const std::function<void(const pss_buf &key, const pss_buf &value)> &visit) {
  uint32_t error = 0;
  if (!host::store_exists(uri)) return;
  const pss_handle store = pss_open(uri, &error);
  if (error != 0) return;
  pss_cursor cursor = {};
  for (const pss_buf *key = pss_move2location(store, PSS_FIRST, &cursor); key != nullptr;
       key = pss_move2location(store, PSS_NEXT, &cursor)) {
    const pss_buf *value = pss2_fetch(store, key, &error);
    if (value != nullptr) visit(*key, *value);
  }
  pss_close(store);
}

}  // namespace service
