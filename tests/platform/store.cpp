// SPDX-License-Identifier: Apache-2.0
#include <cstring>
#include <memory>

#include "platform/pss.h"
#include "tests/platform/state.h"

namespace platform_test {
namespace {

// Copies of exactly the record's size, freed at the next call, so that a sanitizer sees a read beyond or too late.
struct Lent {
  std::unique_ptr<char[]> bytes;
  pss_buf buf{};
  const pss_buf *lend(const std::string &text) {
    bytes.reset(new char[text.size()]);
    std::memcpy(bytes.get(), text.data(), text.size());
    buf = {bytes.get(), static_cast<uint32_t>(text.size())};
    return &buf;
  }
  // What was lent reads as nothing from now on.
  void end() {
    bytes.reset();
    buf = {};
  }
};

struct Cursor {
  bool positioned = false;
  size_t place = 0;  // in fake.walk
  std::string key;
  Lent lent_key, lent_value;
};

std::deque<Cursor> &cursors() {  // a cursor record holds its number here, from 1
  static std::deque<Cursor> all;
  return all;
}

Lent &fetched() {
  static Lent lent;
  return lent;
}

Cursor &state_of(pss_cursor *cursor) {
  if (cursor->platform[0] == 0) {
    cursors().emplace_back();
    cursor->platform[0] = static_cast<uint32_t>(cursors().size());
  }
  return cursors()[cursor->platform[0] - 1];
}

uint32_t failure(const char *call) {
  const bool fails = fake.store.fails();
  const uint32_t error = scripted_error(call);
  if (error != 0) return error;
  return fails ? fake.store_error : 0;
}

Store *store_of(pss_handle handle) {
  const auto open = fake.open_stores.find(handle);
  return open == fake.open_stores.end() ? nullptr : &fake.stores[open->second];
}

pss_handle open_as_new(const std::string &uri) {
  fake.open_stores[++fake.last_handle] = uri;
  return fake.last_handle;
}

std::string text_of(const pss_buf &buf) {
  return bytes_of(buf.data, buf.length);
}

std::string hex_of(const pss_buf &buf) {
  return hex(buf.data, buf.length);
}

bool too_long(const Store &store, const pss_buf &key, const pss_buf &value) {
  return (store.max_key != 0 && key.length > store.max_key) || (store.max_value != 0 && value.length > store.max_value);
}

const pss_buf *report(pss_cursor *cursor, uint32_t error) {
  cursor->error = error;
  return nullptr;
}

void succeed(pss_cursor *cursor) {
  if (!fake.cursor_errors_stick) cursor->error = 0;
}

void move(Cursor &cursor, const Store &store, uint32_t where) {
  if (!fake.walk.empty()) {
    cursor.place = where == PSS_FIRST ? 0 : cursor.place + 1;
    cursor.positioned = cursor.place < fake.walk.size();
    if (cursor.positioned) cursor.key = fake.walk[cursor.place].first;
    return;
  }
  const auto record = where == PSS_FIRST ? store.records.begin() : store.records.upper_bound(cursor.key);
  cursor.positioned = record != store.records.end();
  if (cursor.positioned) cursor.key = record->first;
}

// Sets one property of an open store.
template <typename Change>
uint32_t change(const char *call, pss_handle handle, Change apply) {
  const uint32_t error = failure(call);
  if (error != 0) return error;
  Store *store = store_of(handle);
  if (store == nullptr) return fake.store_error;
  apply(*store);
  return 0;
}

}  // namespace

void release_cursors() {
  cursors().clear();
  fetched() = Lent();
}

}  // namespace platform_test

using namespace platform_test;

pss_handle pss_create(const char *uri, uint32_t *error) {
  note("pss_create %s", uri);
  *error = failure("pss_create");
  if (*error == 0 && fake.stores.contains(uri)) *error = PSS_ERR_EXISTS;
  if (*error != 0) return 0;
  fake.stores[uri] = {};
  return open_as_new(uri);
}

// This and pss2_fetch leave the error word alone on success, as a platform may.
pss_handle pss_open(const char *uri, uint32_t *error) {
  note("pss_open %s", uri);
  uint32_t failed = failure("pss_open");
  if (failed == 0 && !fake.stores.contains(uri)) failed = fake.store_error;
  if (failed != 0 || uri == fake.error_on_open_of) *error = failed != 0 ? failed : fake.store_error;
  return failed == 0 ? open_as_new(uri) : 0;
}

uint32_t pss_close(pss_handle store) {
  note("pss_close %u", store);
  const uint32_t error = failure("pss_close");
  if (fake.open_stores.erase(store) == 0) return fake.store_error;
  return error;
}

uint32_t pss_destroy(const char *uri) {
  note("pss_destroy %s", uri);
  const uint32_t error = failure("pss_destroy");
  if (error != 0) return error;
  return fake.stores.erase(uri) == 0 ? fake.store_error : 0;
}

uint32_t pss_store(pss_handle store, uint32_t count, const pss_buf *keys, const pss_buf *values) {
  uint32_t result = failure("pss_store");
  for (uint32_t i = 0; i < count; ++i) {
    note("pss_store %u key=%s value=%s", store, hex_of(keys[i]).c_str(), hex_of(values[i]).c_str());
    Store *open = store_of(store);
    if (open == nullptr || too_long(*open, keys[i], values[i])) result = fake.store_error;
    if (result != 0) return result;
    open->records[text_of(keys[i])] = text_of(values[i]);
  }
  return result;
}

uint32_t pss_delete(pss_handle store, const pss_buf *keys) {
  note("pss_delete %u key=%s", store, hex_of(*keys).c_str());
  const uint32_t error = failure("pss_delete");
  if (error != 0) return error;
  Store *open = store_of(store);
  if (open == nullptr) return fake.store_error;
  return open->records.erase(text_of(*keys)) == 0 ? PSS_ERR_NO_KEY : 0;
}

const pss_buf *pss_getvalue(pss_handle store, pss_cursor *cursor) {
  note("pss_getvalue %u", store);
  const uint32_t error = failure("pss_getvalue");
  if (error != 0) return report(cursor, error);
  Cursor &state = state_of(cursor);
  state.lent_key.end();
  Store *open = store_of(store);
  if (open == nullptr || !state.positioned || fake.unreadable_keys.contains(state.key))
    return report(cursor, fake.store_error);
  if (!fake.walk.empty()) return succeed(cursor), state.lent_value.lend(fake.walk[state.place].second);
  const auto record = open->records.find(state.key);
  if (record == open->records.end()) return report(cursor, PSS_ERR_NO_KEY);
  succeed(cursor);
  return state.lent_value.lend(record->second);
}

const pss_buf *pss_move2location(pss_handle store, uint32_t where, pss_cursor *cursor) {
  note("pss_move2location %u %u", store, where);
  const uint32_t error = failure("pss_move2location");
  if (error != 0) return report(cursor, error);
  Cursor &state = state_of(cursor);
  state.lent_value.end();
  Store *open = store_of(store);
  if (open == nullptr || (where != PSS_FIRST && where != PSS_NEXT)) return report(cursor, fake.store_error);
  if (where == PSS_NEXT && !state.positioned) return report(cursor, fake.store_error);
  move(state, *open, where);
  succeed(cursor);
  return state.positioned ? state.lent_key.lend(state.key) : nullptr;
}

const pss_buf *pss2_fetch(pss_handle store, const pss_buf *key, uint32_t *error) {
  note("pss2_fetch %u key=%s", store, hex_of(*key).c_str());
  uint32_t failed = failure("pss2_fetch");
  const Store *open = store_of(store);
  if (failed == 0 && open == nullptr) failed = fake.store_error;
  if (failed == 0 && fake.fetch_gives_nothing) return nullptr;
  if (failed == 0 && !open->records.contains(text_of(*key))) failed = PSS_ERR_NO_KEY;
  if (failed != 0 || fake.fetch_error_beside_value != 0) *error = failed != 0 ? failed : fake.fetch_error_beside_value;
  return failed == 0 ? fetched().lend(open->records.at(text_of(*key))) : nullptr;
}

uint32_t pss_max_key(pss_handle store, uint16_t size) {
  note("pss_max_key %u %u", store, size);
  return change("pss_max_key", store, [&](Store &open) { open.max_key = size; });
}

uint32_t pss_max_value(pss_handle store, uint16_t size) {
  note("pss_max_value %u %u", store, size);
  return change("pss_max_value", store, [&](Store &open) { open.max_value = size; });
}

uint32_t pss_version_set(pss_handle store, uint32_t major, uint32_t minor) {
  note("pss_version_set %u %u %u", store, major, minor);
  return change("pss_version_set", store, [&](Store &open) {
    open.major = major;
    open.minor = minor;
  });
}

uint32_t pss_snapshot(pss_handle store, uint32_t flags, const char *destination_uri) {
  note("pss_snapshot %u %u %s", store, flags, destination_uri);
  return change("pss_snapshot", store, [&](Store &open) { fake.stores[destination_uri] = Store(open); });
}

uint32_t pss_free_space(pss_handle store, uint32_t *bytes) {
  note("pss_free_space %u", store);
  *bytes = fake.free_space;
  return failure("pss_free_space");
}

pss_handle pss_shrink(pss_handle store, uint32_t *status) {
  note("pss_shrink %u", store);
  *status = failure("pss_shrink");
  if (*status == 0 && (fake.shrink_fails.contains(store) || !fake.open_stores.contains(store)))
    *status = fake.store_error;
  if (*status != 0) return 0;
  const std::string uri = fake.open_stores[store];
  fake.open_stores.erase(store);
  return open_as_new(uri);
}
