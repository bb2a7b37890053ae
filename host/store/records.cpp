// SPDX-License-Identifier: Apache-2.0
#include "host/store/store.h"

#include <algorithm>

#include "host/status.h"
#include "host/store/batch.h"
#include "host/store/environment.h"
#include "host/store/failure.h"
#include "host/store/table.h"

namespace host {
namespace {

// Aborts the batch at the end of its scope, unless it was committed.
struct EndOfBatch {
  Store &store;
  ~EndOfBatch() {
    if (store.batch.open) abort_batch(store);
  }
};

// Makes changes within the batch that the caller has open, or in one of their own, durable at once.
template <typename Changes>
Result<void> change_store(Store &store, Changes make) {
  if (store.batch.open) return make();
  if (Result<void> begun = begin_batch(store); !begun) return begun;
  const EndOfBatch end{store};
  Result<void> made = make();
  return made ? commit_batch(store) : made;
}

// Records that were stored under a larger limit can still be read and deleted.
bool is_key(const pss_buf &key, uint32_t limit = largest_key) {
  return key.length != 0 && key.length <= std::min(limit, largest_key) && key.data != nullptr;
}

bool is_value(const Store &store, const pss_buf &value) {
  return value.length <= store.description.max_value && (value.length == 0 || value.data != nullptr);
}

Error out_of_limits(const Store &store) {
  return store_error(err_store_limit, store.path,
                     "keys have 1 to " + std::to_string(store.description.max_key) + " bytes, values at most " +
                         std::to_string(store.description.max_value));
}

Result<void> describe(Store &store, const StoreDescription &description) {
  const MDB_val value{sizeof description, const_cast<StoreDescription *>(&description)};
  Result<void> changed = change_store(store, [&] { return change_batch(store, {description_key(), value}); });
  if (changed) store.description = description;
  return changed;
}

}  // namespace

Result<void> store_begin(pss_handle handle) {
  Store *store = store_of(handle);
  if (store == nullptr) return bad_handle(handle);
  if (store->batch.open) return store_error(err_store_busy, store->path, "a batch is open already");
  return begin_batch(*store);
}

// Also called when a failure has closed the store: the batch has to end in any case.
Result<void> store_commit(pss_handle handle) {
  Store *store = known_store(handle);
  if (store == nullptr) return bad_handle(handle);
  if (!store->batch.open) return store_error(err_store_busy, store->path, "no batch is open");
  return commit_batch(*store);
}

void store_abort(pss_handle handle) {
  Store *store = known_store(handle);
  if (store != nullptr && store->batch.open) abort_batch(*store);
}

}  // namespace host

using host::Store;

extern "C" {

uint32_t pss_store(pss_handle handle, uint32_t count, const pss_buf *keys, const pss_buf *values) {
  Store *store = host::store_of(handle);
  if (store == nullptr) return host::status_of(host::bad_handle(handle));
  for (uint32_t i = 0; i < count; ++i) {
    if (!host::is_key(keys[i], store->description.max_key) || !host::is_value(*store, values[i])) {
      return host::status_of(host::out_of_limits(*store));
    }
  }
  if (count == 0) return 0;
  return host::status_of(host::change_store(*store, [&] {
    host::Result<void> changed;
    for (uint32_t i = 0; i < count && changed; ++i) {
      host::RecordKey key(keys[i]);
      const MDB_val value{values[i].length, values[i].data};
      changed = host::change_batch(*store, {key.value(), value});
    }
    return changed;
  }));
}

uint32_t pss_delete(pss_handle handle, const pss_buf *keys) {
  Store *store = host::store_of(handle);
  if (store == nullptr) return host::status_of(host::bad_handle(handle));
  if (!host::is_key(*keys)) return host::status_of(host::out_of_limits(*store));
  host::RecordKey key(*keys);
  return host::status_of(host::change_store(*store, [&] { return host::change_batch(*store, {key.value(), {}}); }));
}

const pss_buf *pss2_fetch(pss_handle handle, const pss_buf *key, uint32_t *error) {
  uint32_t ignored = 0;
  uint32_t &status = error != nullptr ? *error : ignored;
  Store *store = host::store_of(handle);
  if (store == nullptr || !host::is_key(*key)) {
    status = host::status_of(store == nullptr ? host::bad_handle(handle) : host::out_of_limits(*store));
    return nullptr;
  }
  const int code = host::read_value(*store, host::RecordKey(*key).value(), [store](const MDB_val &value) {
    const auto *bytes = static_cast<const std::byte *>(value.mv_data);
    store->fetched.assign(bytes, bytes + value.mv_size);
    store->fetched_value = {store->fetched.data(), static_cast<uint32_t>(value.mv_size)};
  });
  status = code == 0 ? 0 : host::status_of(host::store_result(code, store->path));
  return code == 0 ? &store->fetched_value : nullptr;
}

uint32_t pss_max_key(pss_handle handle, uint16_t size) {
  Store *store = host::store_of(handle);
  if (store == nullptr) return host::status_of(host::bad_handle(handle));
  if (size == 0 || size > host::largest_key) {
    return host::status_of(
        host::store_error(host::err_store_limit, store->path, "the longest key can have 1 to 510 bytes"));
  }
  host::StoreDescription description = store->description;
  description.max_key = size;
  return host::status_of(host::describe(*store, description));
}

uint32_t pss_max_value(pss_handle handle, uint16_t size) {
  Store *store = host::store_of(handle);
  if (store == nullptr) return host::status_of(host::bad_handle(handle));
  if (size == 0)
    return host::status_of(
        host::store_error(host::err_store_limit, store->path, "the longest value cannot be 0 bytes"));
  host::StoreDescription description = store->description;
  description.max_value = size;
  return host::status_of(host::describe(*store, description));
}

uint32_t pss_version_set(pss_handle handle, uint32_t major, uint32_t minor) {
  Store *store = host::store_of(handle);
  if (store == nullptr) return host::status_of(host::bad_handle(handle));
  host::StoreDescription description = store->description;
  description.major = major;
  description.minor = minor;
  return host::status_of(host::describe(*store, description));
}

}  // extern "C"
