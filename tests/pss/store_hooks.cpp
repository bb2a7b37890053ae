// SPDX-License-Identifier: Apache-2.0
#include "tests/pss/store_hooks.h"

#include "tests/pss/records.h"

namespace pss_test {

StoreHooks store_hooks;

namespace {

// One walk at a time: the record that the cursor is at.
size_t place;
std::string key, value;
pss_buf lent_key, lent_value;

const pss_buf *lend(std::string &text, pss_buf &buf) {
  buf = {text.data(), static_cast<uint32_t>(text.size())};
  return &buf;
}

const pss_buf *move_in_order(uint32_t where) {
  place = where == PSS_FIRST ? 0 : place + 1;
  if (place >= store_hooks.order.size()) return nullptr;
  key = unhex(store_hooks.order[place]);
  return lend(key, lent_key);
}

const pss_buf *value_in_order(pss_handle store, pss_cursor *cursor) {
  if (fake.unreadable_keys.contains(key)) {
    cursor->error = fake.store_error;
    return nullptr;
  }
  value = fake.stores.at(fake.open_stores.at(store)).records.at(key);
  return lend(value, lent_value);
}

}  // namespace
}  // namespace pss_test

using pss_test::store_hooks;

extern "C" {

const pss_buf *__real_pss_move2location(pss_handle store, uint32_t where, pss_cursor *cursor);
const pss_buf *__real_pss_getvalue(pss_handle store, pss_cursor *cursor);

const pss_buf *__wrap_pss_move2location(pss_handle store, uint32_t where, pss_cursor *cursor) {
  if (!store_hooks.order.empty()) return pss_test::move_in_order(where);
  const uint32_t before = cursor->error;
  const pss_buf *key = __real_pss_move2location(store, where, cursor);
  if (store_hooks.errors_stick && cursor->error == 0) cursor->error = before;
  return key;
}

const pss_buf *__wrap_pss_getvalue(pss_handle store, pss_cursor *cursor) {
  if (!store_hooks.order.empty()) return pss_test::value_in_order(store, cursor);
  const uint32_t before = cursor->error;
  const pss_buf *value = __real_pss_getvalue(store, cursor);
  if (store_hooks.errors_stick && cursor->error == 0) cursor->error = before;
  return value;
}
}
