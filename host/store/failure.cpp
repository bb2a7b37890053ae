// SPDX-License-Identifier: Apache-2.0
#include "host/store/failure.h"

#include <lmdb.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/statvfs.h>

#include <cerrno>

#include "host/status.h"
#include "host/store/store.h"

namespace host {
namespace {

struct Advice {
  uint32_t status;
  const char *text;
};

constexpr Advice advices[] = {
    {err_store_full, "nothing was changed; make room on the disk, or raise the limit (schedd --store-limit)"},
    {err_store_unusable, "it was left as it is; move it away and load a dump of it, or start without it"},
    {err_store_busy, "nothing was changed; stop the other process, or end the batch, first"},
    {err_store_limit, "nothing was changed"},
    {err_no_memory, "nothing was changed; end other programs, or allow this one more address space"},
    {err_store_absent, "create it, or load a dump into it"},
    {err_store_uri, "a store is running:NAME, startup:NAME or debug:NAME"},
    {err_store_io, "check the disk and the directory's permissions"},
    {err_not_permitted, "run as the directory's owner, or name another state directory"},
};

struct Meaning {
  int code;
  uint32_t status;
};

constexpr Meaning meanings[] = {
    {MDB_NOTFOUND, PSS_ERR_NO_KEY},
    {MDB_KEYEXIST, PSS_ERR_EXISTS},
    {MDB_MAP_FULL, err_store_full},
    {MDB_TXN_FULL, err_store_full},
    {ENOSPC, err_store_full},
    {EDQUOT, err_store_full},
    {EFBIG, err_store_full},
    {MDB_CORRUPTED, err_store_unusable},
    {MDB_INVALID, err_store_unusable},
    {MDB_VERSION_MISMATCH, err_store_unusable},
    {MDB_PAGE_NOTFOUND, err_store_unusable},
    {MDB_INCOMPATIBLE, err_store_unusable},
    {MDB_BAD_VALSIZE, err_store_limit},
    {ENOENT, err_store_absent},
    {ENOMEM, err_no_memory},
    {EACCES, err_not_permitted},
    {EPERM, err_not_permitted},
};

std::string &last_error() {
  static std::string text;
  return text;
}

// When a full disk or the process's file size limit makes a write incomplete, LMDB reports an input/output error.
bool no_room_left(int data_file) {
  struct stat file {};
  struct statvfs disk {};
  struct rlimit limit {};
  if (data_file < 0 || fstat(data_file, &file) != 0) return false;
  const auto next_size = static_cast<rlim_t>(file.st_size) + static_cast<rlim_t>(file.st_blksize);
  if (getrlimit(RLIMIT_FSIZE, &limit) == 0 && next_size > limit.rlim_cur) return true;
  return fstatvfs(data_file, &disk) == 0 && disk.f_bavail == 0;
}

uint32_t mapped(int code, int data_file) {
  if (code == EIO && no_room_left(data_file)) return err_store_full;
  for (const Meaning &meaning : meanings) {
    if (meaning.code == code) return meaning.status;
  }
  return err_store_io;
}

}  // namespace

Error store_error(uint32_t status, const std::string &path, const std::string &reason) {
  Error error{status, path + ": " + reason};
  for (const Advice &advice : advices) {
    if (advice.status == status) error.text += std::string("; ") + advice.text;
  }
  return error;
}

Error no_place_for_stores(Error error) {
  error.code = error.code == err_absent ? err_store_absent : err_not_permitted;
  return error;
}

Result<void> store_result(int code, const std::string &path, int data_file) {
  if (code == 0) return {};
  return store_error(mapped(code, data_file), path, mdb_strerror(code));
}

uint32_t status_of(const Error &error) {
  last_error() = error.text;
  return error.code;
}

std::string store_last_error() {
  return last_error();
}

}  // namespace host
