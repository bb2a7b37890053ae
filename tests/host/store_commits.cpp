// SPDX-License-Identifier: Apache-2.0
#include "tests/host/store_commits.h"

#include <lmdb.h>

#include <filesystem>
#include <memory>

namespace store_test {

namespace {

using Environment = std::unique_ptr<MDB_env, decltype(&mdb_env_close)>;

// Without a lock, beside whoever has the file open. 0: it is no store.
uint64_t commits_in(const std::string &file) {
  MDB_env *opened = nullptr;
  if (mdb_env_create(&opened) != 0) return 0;
  const Environment environment(opened, mdb_env_close);
  MDB_envinfo info = {};
  if (mdb_env_open(opened, file.c_str(), MDB_RDONLY | MDB_NOLOCK | MDB_NOSUBDIR, 0600) != 0) return 0;
  return mdb_env_info(opened, &info) == 0 ? info.me_last_txnid : 0;
}

}  // namespace

uint64_t commits_below(const std::string &directory) {
  uint64_t commits = 0;
  for (const auto &entry : std::filesystem::recursive_directory_iterator(directory))
    if (entry.is_regular_file()) commits += commits_in(entry.path());
  return commits;
}

}  // namespace store_test
