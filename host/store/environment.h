// SPDX-License-Identifier: Apache-2.0
// One open store: its LMDB environment, transactions and description. A path has at most one in a process.
#pragma once

#include <lmdb.h>

#include <array>
#include <cstddef>
#include <cstring>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "host/result.h"
#include "host/store/changes.h"
#include "host/store/file.h"
#include "platform/pss.h"

namespace host {

struct CloseEnvironment {
  void operator()(MDB_env *environment) const { mdb_env_close(environment); }
};
struct AbortTransaction {
  void operator()(MDB_txn *transaction) const { mdb_txn_abort(transaction); }
};
struct CloseCursor {
  void operator()(MDB_cursor *cursor) const { mdb_cursor_close(cursor); }
};
struct ResetTransaction {
  void operator()(MDB_txn *transaction) const { mdb_txn_reset(transaction); }
};
using Environment = std::unique_ptr<MDB_env, CloseEnvironment>;
using Transaction = std::unique_ptr<MDB_txn, AbortTransaction>;
using Cursor = std::unique_ptr<MDB_cursor, CloseCursor>;
using ReaderInUse = std::unique_ptr<MDB_txn, ResetTransaction>;

inline constexpr MDB_dbi store_table = 1;       // LMDB's main table
inline constexpr MDB_dbi free_pages_table = 0;  // LMDB's list of free pages

// A caller's key with the prefix of records, as LMDB takes it.
class RecordKey {
 public:
  explicit RecordKey(const pss_buf &key);
  MDB_val value() { return {size_, bytes_.data()}; }

 private:
  std::size_t size_;
  std::array<std::byte, largest_key + 1> bytes_;
};

MDB_val description_key();

// What one write transaction will hold, of a single call or of several. The transaction itself lasts no longer than the
// commit: it must stay in one thread, and that need not be the caller's.
struct Batch {
  bool open = false;
  bool is_written = false;  // by its commit, perhaps in another thread: reads see the store as it was before the batch
  ReaderInUse snapshot;     // the store's reader, which all reads use until the batch ends
  Changes changes;
  Error failure;  // why it cannot be committed any more; code 0: it can
};

struct Store {
  explicit Store(std::string store_path) : path(std::move(store_path)) {}

  std::string path;
  Environment environment;  // null: a failure closed it; the next call opens it again
  Error closed_by;          // why it could not be opened again
  StoreDescription description{};
  Transaction reader;  // of single reads; reset between them
  Transaction walker;  // of walks; active while `walk` is not 0
  Cursor walk_cursor;
  uint32_t walk = 0;  // serial of the walk that walk_cursor is positioned for; 0: none, and walker is reset
  Batch batch;
  unsigned handles = 0;
  bool shared = true;              // holds the lock that tells other processes of this user of the file
  std::vector<std::byte> fetched;  // the last result of pss2_fetch
  pss_buf fetched_value{};

  int data_file() const;  // -1: not open
};

Result<void> open_environment(Store &store);  // checks the file first
void close_environment(Store &store);

// Both return 0 or LMDB's code, and a failure may leave the environment closed. No transaction may be under way.
int adopt_larger_map(Store &store);  // after another process has enlarged the map
int grow_map(Store &store);          // MDB_MAP_FULL: it has reached its limit

// Begins a transaction by `attempt`, again as often as another process has enlarged the map meanwhile.
template <typename Attempt>
int begin_in_whole_map(Store &store, Attempt attempt) {
  int code = attempt();
  while (code == MDB_MAP_RESIZED) {
    if (code = adopt_larger_map(store); code == 0) code = attempt();
  }
  return code;
}
int begin_transaction(Store &store, unsigned flags, Transaction *transaction);
int renew_reader(Store &store, MDB_txn *transaction);
int begin_snapshot(Store &store);  // of the batch; all reads of the store use it until it is reset
// Makes the store's reader ready until `use` ends, unless a batch has it in use.
int use_reader(Store &store, ReaderInUse *use);

// The changes that reads see; null: none.
inline const Changes *changes_seen(const Store &store) {
  return store.batch.open && !store.batch.is_written ? &store.batch.changes : nullptr;
}

// Passes the value to `take`, which must copy it: it is in LMDB's map and valid during the call alone. Reads through an
// open batch.
template <typename Take>
int read_value(Store &store, MDB_val key, Take take) {
  if (const Changes *changes = changes_seen(store); changes != nullptr) {
    if (const std::optional<RecordChange> change = changes->find(key)) {
      if (change->value) take(*change->value);
      return change->value ? 0 : MDB_NOTFOUND;
    }
  }
  ReaderInUse use;
  if (const int code = use_reader(store, &use); code != 0) return code;
  MDB_val value{};
  const int code = mdb_get(store.reader.get(), store_table, &key, &value);
  if (code == 0) take(value);
  return code;
}

void pause_walks(Store &store);
// The share of the limit that all records together may have.
std::size_t records_bound();
// MDB_MAP_FULL when the records of the transaction exceed it: then it must be aborted.
int check_bound(MDB_txn *transaction);

void reread_description(Store &store);  // after a batch was aborted, which may have changed it

// The bytes by which a compacted copy would be smaller: free pages, their list, and the file's unused end.
int free_space(Store &store, uint32_t *bytes);

// Creates a store at `path`, which must not exist, from `description` and what `fill` puts into it, and syncs it.
// Without locks: no other process knows the file before it is renamed.
Result<void> make_store_file(const std::string &path, const StoreDescription &description,
                             int (*fill)(MDB_txn *, void *), void *argument);

std::string lock_path(const std::string &path);  // LMDB's lock file beside the store

}  // namespace host
