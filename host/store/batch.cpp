// SPDX-License-Identifier: Apache-2.0
#include "host/store/batch.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstring>
#include <new>
#include <optional>
#include <span>

#include "host/guard.h"
#include "host/status.h"
#include "host/store/failure.h"

namespace host {
namespace {

// A batch notes its changes one after the other, each as this head, the key and the value.
struct NoteHead {
  std::size_t key_size;
  std::optional<std::size_t> value_size;
};

void append(std::vector<std::byte> *notes, const void *data, std::size_t size) {
  const auto *bytes = static_cast<const std::byte *>(data);
  notes->insert(notes->end(), bytes, bytes + size);
}

void write_note(std::vector<std::byte> *notes, const RecordChange &change) {
  NoteHead head{change.key.mv_size, {}};
  if (change.value != nullptr) head.value_size = change.value->mv_size;
  append(notes, &head, sizeof head);
  append(notes, change.key.mv_data, change.key.mv_size);
  if (change.value != nullptr) append(notes, change.value->mv_data, change.value->mv_size);
}

int note(std::vector<std::byte> *notes, const RecordChange &change) {
  const auto written = [&] {
    write_note(notes, change);
    return 0;
  };
  return guarded(written, [] { return ENOMEM; });
}

MDB_val take(std::span<std::byte> *notes, std::size_t size) {
  const MDB_val taken{size, notes->data()};
  *notes = notes->subspan(size);
  return taken;
}

int apply(MDB_txn *transaction, const RecordChange &change) {
  MDB_val key = change.key;
  if (change.value == nullptr) return mdb_del(transaction, store_table, &key, nullptr);
  MDB_val value = *change.value;
  return put_within_bound(transaction, &key, &value, 0);
}

int apply_notes(MDB_txn *transaction, std::span<std::byte> notes) {
  while (!notes.empty()) {
    NoteHead head{};
    memcpy(&head, take(&notes, sizeof head).mv_data, sizeof head);
    const MDB_val key = take(&notes, head.key_size);
    const MDB_val value = take(&notes, head.value_size.value_or(0));
    const int code = apply(transaction, {key, head.value_size ? &value : nullptr});
    // Another process may have deleted the key first: what the batch wants is done.
    if (code != 0 && code != MDB_NOTFOUND) return code;
  }
  return 0;
}

int begin_write(Store &store) {
  pause_walks(store);
  // Frees the reader slots of processes that were killed while reading: these would keep old pages from being reused.
  int dead = 0;
  mdb_reader_check(store.environment.get(), &dead);
  return begin_transaction(store, 0, &store.batch.transaction);
}

// Aborts the transaction, grows the map, and repeats all changes so far in a new transaction.
int begin_anew(Store &store) {
  int code = MDB_MAP_FULL;
  while (code == MDB_MAP_FULL) {
    store.batch.transaction.reset();
    if (code = grow_map(store); code != 0) return code;
    if (code = begin_write(store); code != 0) return code;
    code = apply_notes(store.batch.transaction.get(), store.batch.changes);
  }
  return code;
}

int commit_write(Store &store) {
  const int code = mdb_txn_commit(store.batch.transaction.release());
  if (code == 0) return 0;
  // A failed write of a meta page leaves the environment unusable; the file itself still has the last commit.
  MDB_txn *probe = nullptr;
  if (mdb_txn_begin(store.environment.get(), nullptr, MDB_RDONLY, &probe) == MDB_PANIC) {
    close_environment(store);
    (void)open_environment(store);  // where that fails, the next call tries again
  } else {
    mdb_txn_abort(probe);
  }
  return code;
}

// An open file that was removed, or replaced (even with its directory), accepts writes that nobody will ever read.
bool is_where_it_was(const Store &store) {
  struct stat opened {
  }, named{};
  const int file = store.data_file();
  if (file < 0 || fstat(file, &opened) != 0) return true;  // not open: the commit reports that
  return stat(store.path.c_str(), &named) == 0 && named.st_dev == opened.st_dev && named.st_ino == opened.st_ino;
}

}  // namespace

Result<void> begin_batch(Store &store) {
  const int code = begin_write(store);
  store.batch.open = code == 0;
  return store_result(code, store.path, store.data_file());
}

Result<void> change_batch(Store &store, const RecordChange &change) {
  Batch &batch = store.batch;
  if (batch.failure.code != 0) return batch.failure;
  const std::size_t noted = batch.changes.size();
  int code = note(&batch.changes, change);
  if (code == 0) code = apply(batch.transaction.get(), change);
  if (code == MDB_MAP_FULL) code = begin_anew(store);
  if (code == 0) return {};
  batch.changes.resize(noted);
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
  int code = 0;
  do {
    code = commit_write(store);
  } while (code == MDB_MAP_FULL && (code = begin_anew(store)) == 0);
  store.batch = {};
  if (code != 0) reread_description(store);
  return store_result(code, store.path, store.data_file());
}

void abort_batch(Store &store) {
  store.batch = {};
  reread_description(store);
}

}  // namespace host
