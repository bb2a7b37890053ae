// SPDX-License-Identifier: Apache-2.0
#include "host/store.h"

#include <algorithm>

#include "host/status.h"
#include "host/store_environment.h"
#include "host/store_failure.h"
#include "host/store_table.h"

namespace host {
namespace {

// Makes one change: within the store's batch, or durable at once. `change` gives LMDB's code. MDB_NOTFOUND leaves the
// batch as it is; any other failure makes it useless, as LMDB then cannot go on with it.
template <typename Change>
uint32_t change_store(Store &store, Change change) {
  if (store.batch_failure != 0) return store.batch_failure;
  if (store.batch) {
    const int code = change(store.batch.get());
    const uint32_t status = store_status(code, store.path, store.data_file());
    if (status == 0) store.batch_changed = true;
    if (status != 0 && code != MDB_NOTFOUND) store.batch_failure = status;
    return status;
  }
  Transaction transaction;
  int code = begin_write(store, &transaction);
  if (code == 0) code = change(transaction.get());
  if (code != 0) return store_status(code, store.path, store.data_file());
  return commit_write(store, std::move(transaction));
}

// Records that were stored under a larger limit can still be read and deleted.
bool is_key(const pss_buf &key, uint32_t limit = largest_key) {
  return key.length != 0 && key.length <= std::min(limit, largest_key) && key.data != nullptr;
}

bool is_value(const Store &store, const pss_buf &value) {
  return value.length <= store.description.max_value && (value.length == 0 || value.data != nullptr);
}

uint32_t out_of_limits(const Store &store) {
  return store_failed(err_store_limit, store.path,
                      "keys have 1 to " + std::to_string(store.description.max_key) + " bytes, values at most " +
                          std::to_string(store.description.max_value));
}

uint32_t describe(Store &store, const StoreDescription &description) {
  const uint32_t status = change_store(store, [&](MDB_txn *transaction) {
    MDB_val key = description_key(), value{sizeof description, const_cast<StoreDescription *>(&description)};
    return mdb_put(transaction, store_table, &key, &value, 0);
  });
  if (status == 0) store.description = description;
  return status;
}

// `take` copies the value; it is LMDB's and gone afterwards.
template <typename Take>
int read_record(Store &store, const pss_buf &key, Take take) {
  RecordKey record(key);
  MDB_val where = record.value(), value{};
  MDB_txn *transaction = store.batch ? store.batch.get() : store.reader.get();
  if (!store.batch) {
    if (const int code = renew_reader(store, transaction); code != 0) return code;
  }
  const int code = mdb_get(transaction, store_table, &where, &value);
  if (code == 0) take(value);
  if (!store.batch) mdb_txn_reset(transaction);
  return code;
}

}  // namespace

uint32_t store_begin(pss_handle handle) {
  Store *store = store_of(handle);
  if (store == nullptr) return bad_handle();
  if (store->batch) return store_failed(err_store_busy, store->path, "a batch is open already");
  store->batch_changed = false;
  store->batch_failure = 0;
  return store_status(begin_write(*store, &store->batch), store->path, store->data_file());
}

uint32_t store_commit(pss_handle handle) {
  Store *store = store_of(handle);
  if (store == nullptr) return bad_handle();
  if (!store->batch) return store_failed(err_store_busy, store->path, "no batch is open");
  const uint32_t failure = std::exchange(store->batch_failure, 0);
  Transaction transaction = std::move(store->batch);
  if (failure != 0 || !store->batch_changed) {
    transaction.reset();
    if (failure != 0) reread_description(*store);
    return failure;
  }
  const uint32_t status = commit_write(*store, std::move(transaction));
  if (status != 0) reread_description(*store);
  return status;
}

void store_abort(pss_handle handle) {
  Store *store = store_of(handle);
  if (store == nullptr || !store->batch) return;
  store->batch_failure = 0;
  store->batch.reset();
  reread_description(*store);
}

}  // namespace host

using host::Store;

extern "C" {

uint32_t pss_store(pss_handle handle, uint32_t count, const pss_buf *keys, const pss_buf *values) {
  Store *store = host::store_of(handle);
  if (store == nullptr) return host::bad_handle();
  for (uint32_t i = 0; i < count; ++i) {
    if (!host::is_key(keys[i], store->description.max_key) || !host::is_value(*store, values[i])) {
      return host::out_of_limits(*store);
    }
  }
  if (count == 0) return 0;
  return host::change_store(*store, [&](MDB_txn *transaction) {
    int code = 0;
    for (uint32_t i = 0; i < count && code == 0; ++i) {
      host::RecordKey record(keys[i]);
      MDB_val key = record.value(), value{values[i].length, values[i].data};
      code = host::put_within_bound(transaction, &key, &value, 0);
    }
    return code;
  });
}

uint32_t pss_delete(pss_handle handle, const pss_buf *keys) {
  Store *store = host::store_of(handle);
  if (store == nullptr) return host::bad_handle();
  if (!host::is_key(*keys)) return host::out_of_limits(*store);
  return host::change_store(*store, [&](MDB_txn *transaction) {
    host::RecordKey record(*keys);
    MDB_val key = record.value();
    return mdb_del(transaction, host::store_table, &key, nullptr);
  });
}

const pss_buf *pss2_fetch(pss_handle handle, const pss_buf *key, uint32_t *error) {
  uint32_t ignored = 0;
  uint32_t &status = error != nullptr ? *error : ignored;
  Store *store = host::store_of(handle);
  if (store == nullptr || !host::is_key(*key)) {
    status = store == nullptr ? host::bad_handle() : host::out_of_limits(*store);
    return nullptr;
  }
  const int code = host::read_record(*store, *key, [store](const MDB_val &value) {
    const auto *bytes = static_cast<const std::byte *>(value.mv_data);
    store->fetched.assign(bytes, bytes + value.mv_size);
    store->fetched_value = {store->fetched.data(), static_cast<uint32_t>(value.mv_size)};
  });
  status = host::store_status(code, store->path);
  return code == 0 ? &store->fetched_value : nullptr;
}

uint32_t pss_max_key(pss_handle handle, uint16_t size) {
  Store *store = host::store_of(handle);
  if (store == nullptr) return host::bad_handle();
  if (size == 0 || size > host::largest_key) {
    return host::store_failed(host::err_store_limit, store->path, "the longest key can have 1 to 510 bytes");
  }
  host::StoreDescription description = store->description;
  description.max_key = size;
  return host::describe(*store, description);
}

uint32_t pss_max_value(pss_handle handle, uint16_t size) {
  Store *store = host::store_of(handle);
  if (store == nullptr) return host::bad_handle();
  if (size == 0) return host::store_failed(host::err_store_limit, store->path, "the longest value cannot be 0 bytes");
  host::StoreDescription description = store->description;
  description.max_value = size;
  return host::describe(*store, description);
}

uint32_t pss_version_set(pss_handle handle, uint32_t major, uint32_t minor) {
  Store *store = host::store_of(handle);
  if (store == nullptr) return host::bad_handle();
  host::StoreDescription description = store->description;
  description.major = major;
  description.minor = minor;
  return host::describe(*store, description);
}

}  // extern "C"
