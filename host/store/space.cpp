// SPDX-License-Identifier: Apache-2.0
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>

#include "host/store/environment.h"

namespace host {
namespace {

// Counts the pages of LMDB's free list itself and those in it: each of its entries begins with a number of pages.
int count_free_pages(MDB_txn *transaction, std::size_t *pages) {
  MDB_stat list{};
  if (const int code = mdb_stat(transaction, free_pages_table, &list); code != 0) return code;
  *pages = list.ms_branch_pages + list.ms_leaf_pages + list.ms_overflow_pages;
  MDB_cursor *made = nullptr;
  if (const int code = mdb_cursor_open(transaction, free_pages_table, &made); code != 0) return code;
  const Cursor cursor(made);
  MDB_val key{}, value{};
  int code = mdb_cursor_get(made, &key, &value, MDB_FIRST);
  for (; code == 0; code = mdb_cursor_get(made, &key, &value, MDB_NEXT)) {
    std::size_t count = 0;
    memcpy(&count, value.mv_data, sizeof count);
    *pages += count;
  }
  return code == MDB_NOTFOUND ? 0 : code;
}

std::size_t unused_tail(const Store &store, std::size_t used) {
  struct stat file {};
  if (fstat(store.data_file(), &file) != 0) return 0;
  const auto size = static_cast<std::size_t>(file.st_size);
  return size > used ? size - used : 0;
}

}  // namespace

int free_space(Store &store, uint32_t *bytes) {
  MDB_envinfo info{};
  MDB_stat stat{};
  mdb_env_info(store.environment.get(), &info);
  mdb_env_stat(store.environment.get(), &stat);
  std::size_t pages = 0;
  ReaderInUse use;
  if (const int code = use_reader(store, &use); code != 0) return code;
  const int code = count_free_pages(store.reader.get(), &pages);
  const std::size_t total = pages * stat.ms_psize + unused_tail(store, (info.me_last_pgno + 1) * stat.ms_psize);
  *bytes = static_cast<uint32_t>(std::min<std::size_t>(total, UINT32_MAX));
  return code;
}

}  // namespace host
