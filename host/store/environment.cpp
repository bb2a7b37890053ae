// SPDX-License-Identifier: Apache-2.0
#include "host/store/environment.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "host/files/file_descriptor.h"
#include "host/status.h"
#include "host/store/failure.h"
#include "host/store/store.h"

namespace host {
namespace {

// A file holds the live pages, those that the last transaction freed, which only the one after the next may use, and
// those that the next one writes. Each is at most the live pages, so with a third of the file for them no transaction
// is ever refused for lack of room, and a full store can be emptied again.
constexpr std::size_t live_share = 3;
// Room for the largest configuration, 256 jobs of 64 KiB on pages that are half full, as the live third.
constexpr std::size_t default_bound = 128U << 20;
constexpr std::size_t smallest_bound = 128U << 10;
constexpr std::size_t first_map = 1U << 20;  // bytes of address space; then it doubles whenever it is full
constexpr unsigned own_flags = MDB_NOSUBDIR | MDB_NOTLS | MDB_NORDAHEAD;

std::size_t &bound() {
  static std::size_t bytes = default_bound;
  return bytes;
}

std::size_t live_pages(const MDB_stat &stat) {
  return stat.ms_branch_pages + stat.ms_leaf_pages + stat.ms_overflow_pages;
}

// 0600 whatever the umask.
int make_private_file(const std::string &path, int flags) {
  const FileDescriptor file(open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW | flags, 0600));
  if (!file) return errno;
  return fchmod(file.get(), 0600) == 0 ? 0 : errno;
}

// Takes a shared lock, by which other processes see that this one uses the file, and sets close-on-exec, which LMDB
// does not.
int mark_data_file(const Store &store) {
  const int file = store.data_file();
  if (fcntl(file, F_SETFD, FD_CLOEXEC) != 0) return errno;
  return !store.shared || flock(file, LOCK_SH) == 0 ? 0 : errno;
}

// LMDB enlarges the map if the file already holds more than `map`.
int open_lmdb(const std::string &path, unsigned flags, std::size_t map, Environment *environment) {
  MDB_env *made = nullptr;
  if (const int code = mdb_env_create(&made); code != 0) return code;
  environment->reset(made);
  if (const int code = mdb_env_set_mapsize(made, map); code != 0) return code;
  return mdb_env_open(made, path.c_str(), own_flags | flags, 0600);
}

int read_description(Store &store) {
  MDB_val key = description_key(), value{};
  const int code = mdb_get(store.reader.get(), store_table, &key, &value);
  if (code != 0) return code;
  if (value.mv_size != sizeof store.description) return MDB_INVALID;
  memcpy(&store.description, value.mv_data, sizeof store.description);
  return 0;
}

int prepare_transactions(Store &store) {
  if (const int code = mdb_reader_check(store.environment.get(), nullptr); code != 0) return code;
  if (const int code = begin_transaction(store, MDB_RDONLY, &store.reader); code != 0) return code;
  MDB_dbi table = 0;
  if (const int code = mdb_dbi_open(store.reader.get(), nullptr, 0, &table); code != 0) return code;
  if (const int code = read_description(store); code != 0) return code;
  mdb_txn_reset(store.reader.get());
  if (const int code = begin_transaction(store, MDB_RDONLY, &store.walker); code != 0) return code;
  MDB_cursor *cursor = nullptr;
  if (const int code = mdb_cursor_open(store.walker.get(), store_table, &cursor); code != 0) return code;
  store.walk_cursor.reset(cursor);
  mdb_txn_reset(store.walker.get());
  return 0;
}

int open_steps(Store &store) {
  // LMDB would create its lock file with a mode that depends on the umask.
  if (const int code = make_private_file(lock_path(store.path), 0); code != 0) return code;
  if (const int code = open_lmdb(store.path, 0, std::min(first_map, bound()), &store.environment); code != 0)
    return code;
  if (const int code = mark_data_file(store); code != 0) return code;
  return prepare_transactions(store);
}

int set_map_size(Store &store, std::size_t bytes) {
  pause_walks(store);
  store.batch.snapshot.reset();
  const int code = mdb_env_set_mapsize(store.environment.get(), bytes);
  if (code != 0) close_environment(store);  // LMDB has unmapped the file already
  return code;
}

int fill_new(const Environment &environment, const StoreDescription &description, int (*fill)(MDB_txn *, void *),
             void *argument) {
  MDB_txn *made = nullptr;
  if (const int code = mdb_txn_begin(environment.get(), nullptr, 0, &made); code != 0) return code;
  Transaction transaction(made);
  MDB_dbi table = 0;
  if (const int code = mdb_dbi_open(made, nullptr, 0, &table); code != 0) return code;
  MDB_val key = description_key();
  MDB_val value{sizeof description, const_cast<StoreDescription *>(&description)};
  if (const int code = mdb_put(made, store_table, &key, &value, 0); code != 0) return code;
  if (const int code = fill != nullptr ? fill(made, argument) : 0; code != 0) return code;
  return mdb_txn_commit(transaction.release());
}

}  // namespace

// Not inline: if the compiler knows the size's bound, it copies with an instruction that is slower than memcpy() here.
RecordKey::RecordKey(const pss_buf &key) : size_(key.length + 1) {
  bytes_[0] = record_prefix;
  memcpy(bytes_.data() + 1, key.data, key.length);
}

MDB_val description_key() {
  static std::byte prefix = description_prefix;
  return {sizeof prefix, &prefix};
}

int Store::data_file() const {
  int file = -1;
  if (environment) mdb_env_get_fd(environment.get(), &file);
  return file;
}

Result<void> open_environment(Store &store) {
  if (Result<void> checked = check_store_file(store.path); !checked) return checked;
  const int code = open_steps(store);
  if (code != 0) close_environment(store);
  return store_result(code, store.path);
}

void close_environment(Store &store) {
  store.walk = 0;
  store.batch.snapshot.reset();
  store.walk_cursor.reset();
  store.walker.reset();
  store.reader.reset();
  store.environment.reset();
}

void pause_walks(Store &store) {
  if (store.walk == 0) return;
  store.walk = 0;
  mdb_txn_reset(store.walker.get());
}

int adopt_larger_map(Store &store) {
  return set_map_size(store, 0);
}

int begin_transaction(Store &store, unsigned flags, Transaction *transaction) {
  MDB_txn *made = nullptr;
  const int code =
      begin_in_whole_map(store, [&] { return mdb_txn_begin(store.environment.get(), nullptr, flags, &made); });
  transaction->reset(made);
  return code;
}

int renew_reader(Store &store, MDB_txn *transaction) {
  return begin_in_whole_map(store, [&] { return mdb_txn_renew(transaction); });
}

int begin_snapshot(Store &store) {
  store.batch.snapshot.reset();
  const int code = renew_reader(store, store.reader.get());
  if (code == 0) store.batch.snapshot.reset(store.reader.get());
  return code;
}

int use_reader(Store &store, ReaderInUse *use) {
  if (store.batch.snapshot) return 0;
  const int code = renew_reader(store, store.reader.get());
  if (code == 0) use->reset(store.reader.get());
  return code;
}

int grow_map(Store &store) {
  MDB_envinfo info{};
  MDB_stat stat{};
  mdb_env_info(store.environment.get(), &info);
  mdb_env_stat(store.environment.get(), &stat);
  // The limit may have been lowered below what the store holds: it can still be emptied.
  const std::size_t most = std::max(bound(), live_pages(stat) * stat.ms_psize * live_share);
  if (info.me_mapsize >= most) return MDB_MAP_FULL;
  return set_map_size(store, info.me_mapsize + std::min(info.me_mapsize, most - info.me_mapsize));
}

void reread_description(Store &store) {
  ReaderInUse use;
  if (store.environment && use_reader(store, &use) == 0) read_description(store);
}

std::size_t records_bound() {
  return bound() / live_share;
}

int check_bound(MDB_txn *transaction) {
  MDB_stat stat{};
  if (const int code = mdb_stat(transaction, store_table, &stat); code != 0) return code;
  return live_pages(stat) <= records_bound() / stat.ms_psize ? 0 : MDB_MAP_FULL;
}

Result<void> make_store_file(const std::string &path, const StoreDescription &description,
                             int (*fill)(MDB_txn *, void *), void *argument) {
  int code = make_private_file(path, O_EXCL);
  if (code != 0) return store_result(code, path);
  int file = -1;
  Environment environment;
  // The size of a load's input is unknown and it cannot be read twice, so the map is as large as it may become.
  code = open_lmdb(path, MDB_NOLOCK, fill != nullptr ? bound() : std::min(first_map, bound()), &environment);
  if (code == 0) code = mdb_env_get_fd(environment.get(), &file);
  if (code == 0 && fcntl(file, F_SETFD, FD_CLOEXEC) != 0) code = errno;
  if (code == 0) code = fill_new(environment, description, fill, argument);
  if (code == 0 && fsync(file) != 0) code = errno;
  Result<void> result = store_result(code, path, file);
  if (!result) unlink(path.c_str());
  return result;
}

void store_set_bound(uint64_t bytes) {
  const auto page = static_cast<uint64_t>(sysconf(_SC_PAGESIZE));
  bound() = static_cast<std::size_t>(std::clamp<uint64_t>(bytes / page * page, smallest_bound, SIZE_MAX / 2 + 1));
}

std::string lock_path(const std::string &path) {
  return path + "-lock";
}

}  // namespace host
