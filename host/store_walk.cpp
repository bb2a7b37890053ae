// SPDX-License-Identifier: Apache-2.0
// Ordered walks. A caller may leave one unfinished without a word, and may write between two steps; so a walk is a
// place in a bounded table that remembers its last key, and the store's one LMDB cursor is only a short cut to it.
#include <lmdb.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <vector>

#include "host/status.h"
#include "host/store_environment.h"
#include "host/store_failure.h"
#include "host/store_table.h"

namespace host {
namespace {

// Walks under way at once; a further one takes the place of the one that has not moved for longest.
constexpr std::size_t walk_limit = 32;

// What a cursor's words hold.
enum CursorWord : std::size_t { serial_word, place_word };
constexpr uint32_t ended = 0xffffffff;  // as the place: the walk has come to its end

struct Walk {
  Store *store = nullptr;
  uint32_t serial = 0;
  uint64_t moved = 0;
  std::vector<std::byte> key, value;  // the key with its prefix
  pss_buf key_given{}, value_given{};
  MDB_val value_in_file{};  // valid while the store's cursor is at this walk's place
};

std::array<Walk, walk_limit> &walks() {
  static std::array<Walk, walk_limit> table;
  return table;
}

uint32_t next_serial() {
  static uint32_t serial = 0;
  if (++serial == 0) ++serial;
  return serial;
}

uint64_t next_move() {
  static uint64_t moves = 0;
  return ++moves;
}

Walk *walk_of(const Store *store, const pss_cursor &cursor) {
  const uint32_t place = cursor.platform[place_word];
  if (place >= walk_limit) return nullptr;
  Walk &walk = walks()[place];
  return walk.store == store && walk.serial == cursor.platform[serial_word] ? &walk : nullptr;
}

Walk &start_walk(Store *store, pss_cursor *cursor) {
  Walk *walk = walk_of(store, *cursor);
  if (walk == nullptr) walk = &*std::ranges::min_element(walks(), {}, &Walk::moved);
  if (walk->store != nullptr && walk->store->walk == walk->serial) pause_walks(*walk->store);
  walk->store = store;
  walk->serial = next_serial();
  cursor->platform[serial_word] = walk->serial;
  cursor->platform[place_word] = static_cast<uint32_t>(walk - walks().data());
  return *walk;
}

void end_walk(Walk &walk) {
  if (walk.store->walk == walk.serial) pause_walks(*walk.store);
  walk.store = nullptr;
  walk.moved = 0;
}

// The first key behind `last`, or the first of all when it is a bare prefix.
int seek_behind(MDB_cursor *cursor, const std::vector<std::byte> &last, MDB_val *key, MDB_val *value) {
  *key = {last.size(), const_cast<std::byte *>(last.data())};
  const int code = mdb_cursor_get(cursor, key, value, MDB_SET_RANGE);
  if (code != 0 || key->mv_size != last.size() || memcmp(key->mv_data, last.data(), last.size()) != 0) return code;
  return mdb_cursor_get(cursor, key, value, MDB_NEXT);
}

// Within a batch the walk sees the batch; its cursor lives for one step, as the batch may end before the next.
int step_in_batch(const Walk &walk, MDB_val *key, MDB_val *value) {
  MDB_cursor *made = nullptr;
  if (const int code = mdb_cursor_open(walk.store->batch.get(), store_table, &made); code != 0) return code;
  const Cursor cursor(made);
  return seek_behind(made, walk.key, key, value);
}

int step(const Walk &walk, MDB_val *key, MDB_val *value) {
  Store &store = *walk.store;
  if (store.batch) return step_in_batch(walk, key, value);
  MDB_cursor *cursor = store.walk_cursor.get();
  if (store.walk == walk.serial) return mdb_cursor_get(cursor, key, value, MDB_NEXT);
  pause_walks(store);
  if (const int code = renew_reader(store, store.walker.get()); code != 0) return code;
  store.walk = walk.serial;
  if (const int code = mdb_cursor_renew(store.walker.get(), cursor); code != 0) return code;
  return seek_behind(cursor, walk.key, key, value);
}

const pss_buf *move(Walk &walk, pss_cursor *cursor) {
  MDB_val key{}, value{};
  const int code = step(walk, &key, &value);
  if (code != 0) {
    cursor->error = code == MDB_NOTFOUND ? 0 : store_status(code, walk.store->path);
    cursor->platform[place_word] = ended;
    end_walk(walk);
    return nullptr;
  }
  cursor->error = 0;
  const auto *bytes = static_cast<const std::byte *>(key.mv_data);
  walk.key.assign(bytes, bytes + key.mv_size);
  walk.key_given = {walk.key.data() + 1, static_cast<uint32_t>(walk.key.size() - 1)};
  walk.value_in_file = value;
  walk.moved = next_move();
  return &walk.key_given;
}

const pss_buf *fail(pss_cursor *cursor, uint32_t status) {
  cursor->error = status;
  return nullptr;
}

const pss_buf *give_value(Walk &walk, const MDB_val &value) {
  const auto *bytes = static_cast<const std::byte *>(value.mv_data);
  walk.value.assign(bytes, bytes + value.mv_size);
  walk.value_given = {walk.value.data(), static_cast<uint32_t>(value.mv_size)};
  return &walk.value_given;
}

// The walk's record as it is now: it may have been changed or deleted since the walk came to it.
int look_up(Walk &walk, const pss_buf **result) {
  Store &store = *walk.store;
  MDB_val key{walk.key.size(), walk.key.data()}, value{};
  MDB_txn *transaction = store.batch ? store.batch.get() : store.reader.get();
  if (!store.batch) {
    if (const int code = renew_reader(store, transaction); code != 0) return code;
  }
  const int code = mdb_get(transaction, store_table, &key, &value);
  if (code == 0) *result = give_value(walk, value);
  if (!store.batch) mdb_txn_reset(transaction);
  return code;
}

}  // namespace

void forget_walks(const Store *store) {
  for (Walk &walk : walks()) {
    if (walk.store == store) walk = Walk{};
  }
}

}  // namespace host

using host::Store;
using host::Walk;

extern "C" {

const pss_buf *pss_move2location(pss_handle handle, uint32_t where, pss_cursor *cursor) {
  Store *store = host::store_of(handle);
  if (store == nullptr) return host::fail(cursor, host::bad_handle());
  if (where == PSS_FIRST) {
    Walk &walk = host::start_walk(store, cursor);
    walk.key.assign(1, host::record_prefix);
    return host::move(walk, cursor);
  }
  if (where == PSS_NEXT && cursor->platform[host::place_word] == host::ended) return host::fail(cursor, 0);
  Walk *walk = host::walk_of(store, *cursor);
  if (where != PSS_NEXT || walk == nullptr) {
    return host::fail(cursor, host::store_failed(host::err_store_bad_handle, store->path, "no walk is under way"));
  }
  return host::move(*walk, cursor);
}

const pss_buf *pss_getvalue(pss_handle handle, pss_cursor *cursor) {
  Store *store = host::store_of(handle);
  if (store == nullptr) return host::fail(cursor, host::bad_handle());
  Walk *walk = host::walk_of(store, *cursor);
  if (walk == nullptr) {
    return host::fail(cursor, host::store_failed(host::err_store_bad_handle, store->path, "no walk is under way"));
  }
  cursor->error = 0;
  if (!store->batch && store->walk == walk->serial) return host::give_value(*walk, walk->value_in_file);
  const pss_buf *result = nullptr;
  cursor->error = host::store_status(host::look_up(*walk, &result), store->path);
  return result;
}

}  // extern "C"
