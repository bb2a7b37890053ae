// SPDX-License-Identifier: Apache-2.0
#include "host/store/batch.h"

#include <sys/stat.h>

#include <cerrno>
#include <functional>
#include <utility>

#include "host/files/disk.h"
#include "host/guard.h"
#include "host/status.h"
#include "host/store/failure.h"

namespace host {
namespace {

int note(Store &store, const RecordChange &change) {
  Changes &changes = store.batch.changes;
  if (!change.value)
    if (const int code = read_value(store, change.key, [](const MDB_val &) {}); code != 0) return code;
  const auto noted = [&] {
    changes.add(change);
    return 0;
  };
  if (const int code = guarded(noted, [] { return ENOMEM; }); code != 0) return code;
  return changes.stored_bytes() <= records_bound() ? 0 : MDB_MAP_FULL;  // so that no batch grows for ever
}

int apply(MDB_txn *transaction, RecordChange change, bool *adds_records) {
  if (change.value) {
    // Every store has room for its description.
    *adds_records = *adds_records || *static_cast<std::byte *>(change.key.mv_data) != description_prefix;
    return mdb_put(transaction, store_table, &change.key, &*change.value, 0);
  }
  const int code = mdb_del(transaction, store_table, &change.key, nullptr);
  // Another process may have deleted the key first, or only the batch had it: what the batch wants is done.
  return code == MDB_NOTFOUND ? 0 : code;
}

// The whole transaction, as it may run in another thread. Returns LMDB's code.
int write_changes(MDB_env *environment, const Changes &changes) {
  // Frees the reader slots of processes that were killed while reading: these would keep old pages from being reused.
  mdb_reader_check(environment, nullptr);
  MDB_txn *made = nullptr;
  if (const int code = mdb_txn_begin(environment, nullptr, 0, &made); code != 0) return code;
  Transaction transaction(made);
  bool adds_records = false;
  const auto apply_one = [&](const RecordChange &change) { return apply(made, change, &adds_records); };
  if (const int code = changes.for_each(apply_one); code != 0) return code;
  if (const int code = adds_records ? check_bound(made) : 0; code != 0) return code;
  return mdb_txn_commit(transaction.release());
}

int write(Store &store) {
  MDB_env *const environment = store.environment.get();
  int code = 0;
  const auto written = [&] { code = write_changes(environment, store.batch.changes); };
  store.batch.is_written = true;
  wait_for_disk(std::cref(written));
  store.batch.is_written = false;
  return code;
}

int enlarge_map(Store &store, int code) {
  code = code == MDB_MAP_FULL ? grow_map(store) : adopt_larger_map(store);
  return code == 0 ? begin_snapshot(store) : code;
}

int write_in_whole_map(Store &store) {
  int code = write(store);
  while ((code == MDB_MAP_FULL || code == MDB_MAP_RESIZED) && (code = enlarge_map(store, code)) == 0)
    code = write(store);
  return code;
}

// A failed write of a meta page leaves the environment unusable; the file itself still has the last commit.
void open_again_after_panic(Store &store) {
  if (!store.environment) return;
  MDB_txn *probe = nullptr;
  if (mdb_txn_begin(store.environment.get(), nullptr, MDB_RDONLY, &probe) == MDB_PANIC) {
    close_environment(store);
    (void)open_environment(store);  // where that fails, the next call tries again
  } else {
    mdb_txn_abort(probe);
  }
}

// An open file that was removed, or replaced (even with its directory), accepts writes that nobody will ever read.
bool is_where_it_was(const Store &store) {
  struct stat opened {
  }, named{};
  if (fstat(store.data_file(), &opened) != 0) return true;  // not open: the commit reports that
  return stat(store.path.c_str(), &named) == 0 && named.st_dev == opened.st_dev && named.st_ino == opened.st_ino;
}

}  // namespace

Result<void> begin_batch(Store &store) {
  pause_walks(store);
  const int code = begin_snapshot(store);
  store.batch.open = code == 0;
  return store_result(code, store.path, store.data_file());
}

Result<void> change_batch(Store &store, const RecordChange &change) {
  Batch &batch = store.batch;
  if (batch.failure.code != 0) return batch.failure;
  const int code = note(store, change);
  if (code == 0) return {};
  if (code != MDB_NOTFOUND) batch.failure.code = err_no_memory;  // replaced below, unless that runs out of memory
  Result<void> result = store_result(code, store.path, store.data_file());
  if (code != MDB_NOTFOUND) batch.failure = result.error();
  return result;
}

Result<void> commit_batch(Store &store) {
  if (store.batch.failure.code != 0 || store.batch.changes.empty()) {
    Error failure = std::move(store.batch.failure);
    abort_batch(store);
    return failure;  // of code 0: success
  }
  if (!is_where_it_was(store)) {
    abort_batch(store);
    return store_error(err_store_gone, store.path, "has been removed or replaced while it was open");
  }
  const int code = write_in_whole_map(store);
  store.batch = {};
  if (code != 0) {
    open_again_after_panic(store);
    reread_description(store);
  }
  return store_result(code, store.path, store.data_file());
}

void abort_batch(Store &store) {
  store.batch = {};
  reread_description(store);
}

}  // namespace host
