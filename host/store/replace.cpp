// SPDX-License-Identifier: Apache-2.0
#include "host/store/replace.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

#include "host/files/directory.h"
#include "host/files/disk.h"
#include "host/files/paths.h"
#include "host/status.h"
#include "host/store/failure.h"
#include "host/store/store.h"
#include "host/store/table.h"

namespace host {
namespace {

bool exists(const std::string &path) {
  struct stat found {};
  return lstat(path.c_str(), &found) == 0;
}

// Makes sure that no other process has the store open. None can open it meanwhile, as the gate is held.
Result<void> claim(const std::string &path) {
  const Store *store = open_store(path);
  if (store != nullptr && store->batch.open) return store_error(err_store_busy, path, "a batch is open");
  const bool is_open = store != nullptr && store->environment;
  const FileDescriptor file(is_open ? -1 : open(path.c_str(), O_RDONLY | O_CLOEXEC));
  const int lock = is_open ? store->data_file() : file.get();
  if (lock < 0) return store_result(errno, path);
  const bool alone = flock(lock, LOCK_EX | LOCK_NB) == 0;
  if (is_open) flock(lock, LOCK_SH);
  if (!alone) return store_error(err_store_busy, path, "is open in another process");
  return {};
}

// The lock file belongs to the old data file and goes with it. Processes that still read the old file keep both open.
Result<void> swap_files(const std::string &path, const std::string &fresh) {
  if (unlink(lock_path(path).c_str()) != 0 && errno != ENOENT) return store_result(errno, path);
  return store_result(rename(fresh.c_str(), path.c_str()) == 0 ? 0 : errno, path);
}

// The store is open again before the directory is synced, as it may be read while that waits for the disk.
Result<void> replace_claimed(const std::string &path, const std::string &fresh) {
  Store *store = open_store(path);
  if (store != nullptr) close_environment(*store);
  Result<void> swapped = swap_files(path, fresh);
  Result<void> reopened;
  if (store != nullptr) reopened = open_environment(*store);
  if (swapped) swapped = store_result(sync_directory(parent_directory(path)) ? 0 : errno, path);
  return swapped ? reopened : swapped;
}

// Writes a compacted copy of what is committed, and syncs it.
Result<void> copy_store(Store &store, const std::string &fresh) {
  const FileDescriptor file(open(fresh.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
  if (!file) return store_result(errno, fresh);
  int code = fchmod(file.get(), 0600) == 0 ? 0 : errno;
  if (code == 0) {
    code =
        begin_in_whole_map(store, [&] { return mdb_env_copyfd2(store.environment.get(), file.get(), MDB_CP_COMPACT); });
  }
  if (code == 0 && flush(file.get()) != 0) code = errno;
  Result<void> result = store_result(code, fresh, file.get());
  if (!result) unlink(fresh.c_str());
  return result;
}

Result<void> copy_over(Store &store, const std::string &path) {
  if (store.batch.open) return store_error(err_store_busy, store.path, "a batch is open");
  const DirectoryGate gate(path, DirectoryGate::For::replacing);
  if (!gate.held()) return store_result(errno, path);
  pause_walks(store);
  const Result<std::string> fresh = fresh_path(path);
  if (!fresh) return fresh.error();
  Result<void> copied = copy_store(store, *fresh);
  return copied ? replace_store(path, *fresh) : copied;
}

Error uri_failed(const char *uri) {
  return store_error(err_store_uri, uri != nullptr ? uri : "(no URI)", "is not a URI of a store");
}

Result<pss_handle> create_store(const std::string &path) {
  if (Result<void> made = make_private_directory(paths().state); !made) return no_place_for_stores(made.error());
  const DirectoryGate gate(path, DirectoryGate::For::replacing);
  if (!gate.held()) return store_result(errno, path).error();
  if (exists(path)) return store_error(PSS_ERR_EXISTS, path, "exists already");
  const Result<std::string> fresh = fresh_path(path);
  if (!fresh) return fresh.error();
  if (Result<void> made = make_store_file(*fresh, new_description(), nullptr, nullptr); !made) return made.error();
  if (Result<void> placed = replace_store(path, *fresh); !placed) return placed.error();
  return open_path(path);
}

Result<pss_handle> open_existing(const std::string &path) {
  if (Result<void> safe = check_private_directory(paths().state); !safe) return no_place_for_stores(safe.error());
  const DirectoryGate gate(path, DirectoryGate::For::opening);
  if (!gate.held()) return store_result(errno, path).error();
  return open_path(path);
}

pss_handle handle_or_error(const Result<pss_handle> &opened, uint32_t *error) {
  const uint32_t status = status_of(opened);
  if (error != nullptr) *error = status;
  return opened ? *opened : 0;
}

}  // namespace

Result<std::string> fresh_path(const std::string &path) {
  const std::string fresh = path + ".new";
  if (unlink(fresh.c_str()) == 0 || errno == ENOENT) return fresh;
  return store_result(errno, fresh).error();
}

Result<void> replace_store(const std::string &path, const std::string &fresh) {
  Result<void> result;
  if (exists(path)) {
    if (open_store(path) == nullptr) result = check_store_file(path);
    if (result) result = claim(path);
  }
  if (result) result = replace_claimed(path, fresh);
  if (!result) unlink(fresh.c_str());
  return result;
}

Result<void> remove_store(const std::string &path) {
  if (!exists(path)) return store_error(err_store_absent, path, "no such store");
  if (Result<void> claimed = claim(path); !claimed) return claimed;
  if (unlink(path.c_str()) != 0) return store_result(errno, path);
  forget_store(path);
  unlink(lock_path(path).c_str());
  return store_result(sync_directory(parent_directory(path)) ? 0 : errno, path);
}

}  // namespace host

extern "C" {

pss_handle pss_create(const char *uri, uint32_t *error) {
  const std::string path = host::store_path(uri);
  return host::handle_or_error(path.empty() ? host::uri_failed(uri) : host::create_store(path), error);
}

pss_handle pss_open(const char *uri, uint32_t *error) {
  const std::string path = host::store_path(uri);
  return host::handle_or_error(path.empty() ? host::uri_failed(uri) : host::open_existing(path), error);
}

uint32_t pss_close(pss_handle handle) {
  return host::close_handle(handle) ? 0 : host::status_of(host::bad_handle(handle));
}

uint32_t pss_destroy(const char *uri) {
  const std::string path = host::store_path(uri);
  if (path.empty()) return host::status_of(host::uri_failed(uri));
  const host::DirectoryGate gate(path, host::DirectoryGate::For::replacing);
  if (!gate.held()) return host::status_of(host::store_result(errno, path));
  return host::status_of(host::remove_store(path));
}

uint32_t pss_snapshot(pss_handle handle, uint32_t flags, const char *destination_uri) {
  host::Store *store = host::store_of(handle);
  if (store == nullptr) return host::status_of(host::bad_handle(handle));
  const std::string path = host::store_path(destination_uri);
  if (path.empty() || path == store->path) return host::status_of(host::uri_failed(destination_uri));
  static_cast<void>(flags);
  return host::status_of(host::copy_over(*store, path));
}

uint32_t pss_free_space(pss_handle handle, uint32_t *bytes) {
  *bytes = 0;
  host::Store *store = host::store_of(handle);
  if (store == nullptr) return host::status_of(host::bad_handle(handle));
  return host::status_of(host::store_result(host::free_space(*store, bytes), store->path));
}

pss_handle pss_shrink(pss_handle handle, uint32_t *status) {
  host::Store *store = host::store_of(handle);
  const uint32_t result = host::status_of(store != nullptr ? host::copy_over(*store, std::string(store->path))
                                                           : host::Result<void>(host::bad_handle(handle)));
  if (status != nullptr) *status = result;
  if (result != 0) return 0;
  const pss_handle fresh = host::new_handle(store);
  if (fresh == 0) return handle;
  host::close_handle(handle);
  return fresh;
}

}  // extern "C"
