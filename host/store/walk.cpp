// SPDX-License-Identifier: Apache-2.0
// Ordered walks. A caller may abandon one without telling, and may write between two steps. So a walk is an entry in a
// bounded table, which holds its last key; the store has a single LMDB cursor, which only spares the walk that moved
// last a look-up of its key.
#include <lmdb.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include "host/status.h"
#include "host/store/environment.h"
#include "host/store/failure.h"
#include "host/store/table.h"

namespace host {
namespace {

// Walks at the same time. A further one replaces the least recently moved, as it may have been abandoned.
constexpr std::size_t walk_limit = 32;

// What a cursor's words hold.
enum CursorWord : std::size_t { serial_word, place_word };
constexpr uint32_t ended = 0xffffffff;  // instead of a place in the table: the walk has reached the end

struct Walk {
  pss_handle handle = 0;  // 0: free
  Store *store = nullptr;
  uint32_t serial = 0;
  uint64_t moved = 0;
  std::vector<std::byte> record;  // the last key with its prefix, then, aligned, its value if the page has it behind it
  std::vector<std::byte> value;   // a value that is on overflow pages, or was changed since
  pss_buf key_given{}, value_given{};     // what the caller was given last
  const std::byte *page = nullptr;        // of the last key
  const void *value_elsewhere = nullptr;  // on overflow pages, while the cursor is here; null: the value is in `record`

  MDB_val last_key() const { return {key_given.length + 1, static_cast<std::byte *>(key_given.data) - 1}; }
};

constinit std::array<Walk, walk_limit> walks{};

uint32_t next_serial() {
  static uint32_t serial = 0;
  if (++serial == 0) ++serial;
  return serial;
}

uint64_t next_move() {
  static uint64_t moves = 0;
  return ++moves;
}

// Whether the store's cursor is positioned for this walk. Never during a batch, whose begin closes the cursor, nor
// while the environment is closed.
bool is_at_its_place(const Walk &walk) {
  return walk.store->walk == walk.serial;
}

// Closing a handle removes its walks, so a walk's store is always open.
Walk *walk_of(pss_handle handle, const pss_cursor &cursor) {
  const uint32_t place = cursor.platform[place_word];
  if (place >= walk_limit) return nullptr;
  Walk &walk = walks[place];
  const bool is_its_own = walk.handle == handle && walk.serial == cursor.platform[serial_word] && handle != 0;
  return is_its_own && (is_at_its_place(walk) || walk.store->environment) ? &walk : nullptr;
}

[[gnu::noinline]] void grow(std::vector<std::byte> *buffer, std::size_t size) {
  buffer->resize(size);
}

// Copies a key and the `behind` bytes that follow it, and returns the copy of these. They are aligned, as callers cast
// values to records.
std::byte *keep(Walk &walk, const MDB_val &key, std::size_t behind) {
  constexpr std::size_t alignment = alignof(std::max_align_t);
  const std::size_t aligned_key = (key.mv_size + alignment - 1) & ~(alignment - 1);
  if (walk.record.size() < aligned_key + behind) grow(&walk.record, aligned_key + behind);
  std::byte *value = walk.record.data() + aligned_key;
  memcpy(value - key.mv_size, key.mv_data, key.mv_size + behind);
  walk.key_given = {value - key.mv_size + 1, static_cast<uint32_t>(key.mv_size - 1)};
  return value;
}

Walk &start_walk(pss_handle handle, Store *store, pss_cursor *cursor) {
  Walk *walk = walk_of(handle, *cursor);
  if (walk == nullptr) walk = &*std::ranges::min_element(walks, {}, &Walk::moved);
  if (walk->handle != 0 && walk->store->walk == walk->serial) pause_walks(*walk->store);
  walk->handle = handle;
  walk->store = store;
  walk->serial = next_serial();
  cursor->platform[serial_word] = walk->serial;
  cursor->platform[place_word] = static_cast<uint32_t>(walk - walks.data());
  keep(*walk, {1, const_cast<std::byte *>(&record_prefix)}, 0);
  return *walk;
}

void end_walk(Walk &walk) {
  if (walk.store->walk == walk.serial) pause_walks(*walk.store);
  walk.handle = 0;
  walk.moved = 0;
}

// Moves to the first key after `last`; if that is a bare prefix, to the first record.
int seek_behind(MDB_cursor *cursor, const MDB_val &last, MDB_val *key, MDB_val *value) {
  *key = last;
  const int code = mdb_cursor_get(cursor, key, value, MDB_SET_RANGE);
  if (code != 0 || key->mv_size != last.mv_size || memcmp(key->mv_data, last.mv_data, last.mv_size) != 0) return code;
  return mdb_cursor_get(cursor, key, value, MDB_NEXT);
}

bool is_before(const MDB_val &one, const MDB_val &other) {
  const int order = memcmp(one.mv_data, other.mv_data, std::min(one.mv_size, other.mv_size));
  return order != 0 ? order < 0 : one.mv_size < other.mv_size;
}

// `code`, `key` and `value`: of the first record behind `last`. Gives instead the first that there is with the changes.
int step_with_changes(const Changes &changes, MDB_cursor *cursor, int code, MDB_val last, MDB_val *key,
                      MDB_val *value) {
  while (code == 0 || code == MDB_NOTFOUND) {
    const std::optional<RecordChange> change = changes.first_behind(last);
    if (!change || (code == 0 && is_before(*key, change->key))) return code;
    if (change->value) {
      *key = change->key;
      *value = *change->value;
      return 0;
    }
    last = change->key;
    if (code == 0 && !is_before(last, *key)) code = mdb_cursor_get(cursor, key, value, MDB_NEXT);
  }
  return code;
}

// Within a batch the walk sees the batch's changes. Its cursor is of this step alone, as the batch may end before the
// next.
int step_in_batch(const Walk &walk, MDB_val *key, MDB_val *value) {
  Store &store = *walk.store;
  ReaderInUse use;
  if (const int code = use_reader(store, &use); code != 0) return code;
  MDB_cursor *made = nullptr;
  if (const int code = mdb_cursor_open(store.reader.get(), store_table, &made); code != 0) return code;
  const Cursor cursor(made);
  const int code = seek_behind(made, walk.last_key(), key, value);
  const Changes *changes = changes_seen(store);
  return changes == nullptr ? code : step_with_changes(*changes, made, code, walk.last_key(), key, value);
}

// When another walk or a write has moved the store's cursor.
[[gnu::noinline]] int step_from_last_key(const Walk &walk, MDB_val *key, MDB_val *value) {
  Store &store = *walk.store;
  if (store.batch.open) return step_in_batch(walk, key, value);
  MDB_cursor *cursor = store.walk_cursor.get();
  pause_walks(store);
  if (const int code = renew_reader(store, store.walker.get()); code != 0) return code;
  store.walk = walk.serial;
  if (const int code = mdb_cursor_renew(store.walker.get(), cursor); code != 0) return code;
  return seek_behind(cursor, walk.last_key(), key, value);
}

[[gnu::noinline]] const pss_buf *stop(Walk &walk, pss_cursor *cursor, int code) {
  cursor->error = code == MDB_NOTFOUND ? 0 : status_of(store_result(code, walk.store->path));
  cursor->platform[place_word] = ended;
  end_walk(walk);
  return nullptr;
}

void fetch(const std::byte *from, std::size_t size) {
  constexpr std::size_t line = 64;
  for (const std::byte *at = from; at < from + size; at += line)
    __builtin_prefetch(at);  // harmless where there is nothing
}

// The processor's own guess does not cross pages, and within a page that came to be bit by bit records do not lie in
// their order. Mostly the next page in order is the next in the file: so what is a page further will soon be asked for.
// Any other page is fetched whole when the walk comes to it.
void fetch_ahead(Walk &walk, const MDB_val &key) {
  constexpr std::size_t page_size = 4096, soon = 512;
  const auto *record = static_cast<const std::byte *>(key.mv_data);
  const std::byte *page = record - reinterpret_cast<uintptr_t>(record) % page_size;
  const std::byte *last = std::exchange(walk.page, page);
  if (page != last && page - page_size != last) fetch(page, page_size);
  fetch(record + page_size, soon);
}

const pss_buf *move(Walk &walk, pss_cursor *cursor) {
  MDB_val key, value;
  const int code = is_at_its_place(walk) ? mdb_cursor_get(walk.store->walk_cursor.get(), &key, &value, MDB_NEXT)
                                         : step_from_last_key(walk, &key, &value);
  if (code != 0) return stop(walk, cursor, code);
  fetch_ahead(walk, key);
  cursor->error = 0;
  const bool is_behind_key = static_cast<std::byte *>(key.mv_data) + key.mv_size == value.mv_data;
  walk.value_given = {keep(walk, key, is_behind_key ? value.mv_size : 0), static_cast<uint32_t>(value.mv_size)};
  walk.value_elsewhere = is_behind_key ? nullptr : value.mv_data;
  walk.moved = next_move();
  return &walk.key_given;
}

const pss_buf *fail(pss_cursor *cursor, const Error &error) {
  cursor->error = status_of(error);
  return nullptr;
}

Error no_walk(const Store &store) {
  return store_error(err_store_bad_handle, store.path, "no walk is under way with this cursor");
}

[[gnu::noinline]] const pss_buf *give_value(Walk &walk, const void *data, std::size_t size) {
  if (walk.value.size() <= size) walk.value.resize(size + 1);  // so that data() is never null
  memcpy(walk.value.data(), data, size);
  walk.value_given = {walk.value.data(), static_cast<uint32_t>(size)};
  return &walk.value_given;
}

// Reads the walk's record again: it may have been changed or deleted since the walk came to it.
int look_up(Walk &walk, const pss_buf **result) {
  return read_value(*walk.store, walk.last_key(),
                    [&](const MDB_val &value) { *result = give_value(walk, value.mv_data, value.mv_size); });
}

// Out of line, so that the usual step stays as quick as LMDB's own.
[[gnu::noinline]] const pss_buf *begin(pss_handle handle, uint32_t where, pss_cursor *cursor) {
  Store *store = store_of(handle);
  if (store == nullptr) return fail(cursor, bad_handle(handle));
  if (where == PSS_FIRST) return move(start_walk(handle, store, cursor), cursor);
  if (where == PSS_NEXT && cursor->platform[place_word] == ended) {
    cursor->error = 0;
    return nullptr;
  }
  return fail(cursor, no_walk(*store));
}

[[gnu::noinline]] const pss_buf *value_now(pss_handle handle, Walk *walk, pss_cursor *cursor) {
  if (walk == nullptr) {
    const Store *store = store_of(handle);
    return fail(cursor, store == nullptr ? bad_handle(handle) : no_walk(*store));
  }
  const pss_buf *result = nullptr;
  cursor->error = status_of(store_result(look_up(*walk, &result), walk->store->path));
  return result;
}

}  // namespace

void forget_walks(pss_handle handle) {
  for (Walk &walk : walks) {
    if (walk.handle == handle) end_walk(walk);
  }
}

}  // namespace host

using host::Walk;

extern "C" {

const pss_buf *pss_move2location(pss_handle handle, uint32_t where, pss_cursor *cursor) {
  Walk *walk = host::walk_of(handle, *cursor);
  return where == PSS_NEXT && walk != nullptr ? host::move(*walk, cursor) : host::begin(handle, where, cursor);
}

const pss_buf *pss_getvalue(pss_handle handle, pss_cursor *cursor) {
  Walk *walk = host::walk_of(handle, *cursor);
  if (walk == nullptr || !host::is_at_its_place(*walk)) return host::value_now(handle, walk, cursor);
  cursor->error = 0;
  if (walk->value_elsewhere == nullptr) return &walk->value_given;
  return host::give_value(*walk, walk->value_elsewhere, walk->value_given.length);
}

}  // extern "C"
