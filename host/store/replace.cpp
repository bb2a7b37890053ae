// SPDX-License-Identifier: Apache-2.0
#include "host/store/replace.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

#include "host/files/directory.h"
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

// Nobody but this process has the store open, and nobody can open it: the gate is held.
uint32_t claim(const std::string &path) {
  const Store *store = open_store(path);
  if (store != nullptr && store->batch.open) return store_failed(err_store_busy, path, "a batch is open");
  const bool is_open = store != nullptr && store->environment;
  const FileDescriptor file(is_open ? -1 : open(path.c_str(), O_RDONLY | O_CLOEXEC));
  const int lock = is_open ? store->data_file() : file.get();
  if (lock < 0) return store_status(errno, path);
  const bool alone = flock(lock, LOCK_EX | LOCK_NB) == 0;
  if (is_open) flock(lock, LOCK_SH);
  return alone ? 0 : store_failed(err_store_busy, path, "is open in another process");
}

// LMDB's lock file belongs to the old data file; readers that other processes have on that one keep both.
uint32_t swap_files(const std::string &path, const std::string &fresh) {
  if (unlink(lock_path(path).c_str()) != 0 && errno != ENOENT) return store_status(errno, path);
  if (rename(fresh.c_str(), path.c_str()) != 0) return store_status(errno, path);
  return sync_directory(parent_directory(path)) ? 0 : store_status(errno, path);
}

uint32_t replace_claimed(const std::string &path, const std::string &fresh) {
  Store *store = open_store(path);
  if (store != nullptr) close_environment(*store);
  const uint32_t status = swap_files(path, fresh);
  if (store == nullptr) return status;
  const std::string words = store_last_error();
  const uint32_t reopened = open_environment(*store);
  return status != 0 ? store_failed(status, words) : reopened;
}

// A compacted copy of what is committed, synced.
uint32_t copy_store(Store &store, const std::string &fresh) {
  const FileDescriptor file(open(fresh.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, 0600));
  if (!file) return store_status(errno, fresh);
  int code = fchmod(file.get(), 0600) == 0 ? 0 : errno;
  if (code == 0) {
    code =
        begin_in_whole_map(store, [&] { return mdb_env_copyfd2(store.environment.get(), file.get(), MDB_CP_COMPACT); });
  }
  if (code == 0 && fsync(file.get()) != 0) code = errno;
  const uint32_t status = store_status(code, fresh, file.get());
  if (status != 0) unlink(fresh.c_str());
  return status;
}

uint32_t copy_over(Store &store, const std::string &path) {
  if (store.batch.open) return store_failed(err_store_busy, store.path, "a batch is open");
  const DirectoryGate gate(path, DirectoryGate::For::replacing);
  if (!gate.held()) return store_status(errno, path);
  pause_walks(store);
  std::string fresh;
  if (const uint32_t status = fresh_path(path, &fresh); status != 0) return status;
  if (const uint32_t status = copy_store(store, fresh); status != 0) return status;
  return replace_store(path, fresh);
}

uint32_t uri_failed(const char *uri) {
  return store_failed(err_store_uri, uri != nullptr ? uri : "(no URI)", "is not a URI of a store");
}

uint32_t directory_status() {
  return errno == ENOENT ? err_store_absent : err_not_permitted;
}

uint32_t create_store(const std::string &path, pss_handle *handle) {
  std::string error, fresh;
  if (!make_private_directory(paths().state, &error)) return store_failed(directory_status(), error);
  const DirectoryGate gate(path, DirectoryGate::For::replacing);
  if (!gate.held()) return store_status(errno, path);
  if (exists(path)) return store_failed(PSS_ERR_EXISTS, path, "exists already");
  if (const uint32_t status = fresh_path(path, &fresh); status != 0) return status;
  if (const uint32_t status = make_store_file(fresh, new_description(), nullptr, nullptr); status != 0) return status;
  if (const uint32_t status = replace_store(path, fresh); status != 0) return status;
  return open_path(path, handle);
}

uint32_t open_existing(const std::string &path, pss_handle *handle) {
  std::string error;
  if (!is_private_directory(paths().state, &error)) {
    return store_failed(directory_status(), error);
  }
  const DirectoryGate gate(path, DirectoryGate::For::opening);
  return gate.held() ? open_path(path, handle) : store_status(errno, path);
}

}  // namespace

uint32_t fresh_path(const std::string &path, std::string *fresh) {
  *fresh = path + ".new";
  return unlink(fresh->c_str()) == 0 || errno == ENOENT ? 0 : store_status(errno, *fresh);
}

uint32_t replace_store(const std::string &path, const std::string &fresh) {
  uint32_t status = 0;
  if (exists(path)) {
    status = open_store(path) == nullptr ? check_store_file(path) : 0;
    if (status == 0) status = claim(path);
  }
  if (status == 0) status = replace_claimed(path, fresh);
  if (status != 0) unlink(fresh.c_str());
  return status;
}

uint32_t remove_store(const std::string &path) {
  if (!exists(path)) return store_failed(err_store_absent, path, "no such store");
  if (const uint32_t status = claim(path); status != 0) return status;
  forget_store(path);
  if (unlink(path.c_str()) != 0) return store_status(errno, path);
  unlink(lock_path(path).c_str());
  return sync_directory(parent_directory(path)) ? 0 : store_status(errno, path);
}

}  // namespace host

extern "C" {

pss_handle pss_create(const char *uri, uint32_t *error) {
  const std::string path = host::store_path(uri);
  pss_handle handle = 0;
  const uint32_t status = path.empty() ? host::uri_failed(uri) : host::create_store(path, &handle);
  if (error != nullptr) *error = status;
  return handle;
}

pss_handle pss_open(const char *uri, uint32_t *error) {
  const std::string path = host::store_path(uri);
  pss_handle handle = 0;
  const uint32_t status = path.empty() ? host::uri_failed(uri) : host::open_existing(path, &handle);
  if (error != nullptr) *error = status;
  return handle;
}

uint32_t pss_close(pss_handle handle) {
  return host::close_handle(handle) ? 0 : host::bad_handle(handle);
}

uint32_t pss_destroy(const char *uri) {
  const std::string path = host::store_path(uri);
  if (path.empty()) return host::uri_failed(uri);
  const host::DirectoryGate gate(path, host::DirectoryGate::For::replacing);
  if (!gate.held()) return host::store_status(errno, path);
  return host::remove_store(path);
}

uint32_t pss_snapshot(pss_handle handle, uint32_t flags, const char *destination_uri) {
  host::Store *store = host::store_of(handle);
  if (store == nullptr) return host::bad_handle(handle);
  const std::string path = host::store_path(destination_uri);
  if (path.empty() || path == store->path) return host::uri_failed(destination_uri);
  static_cast<void>(flags);
  return host::copy_over(*store, path);
}

uint32_t pss_free_space(pss_handle handle, uint32_t *bytes) {
  *bytes = 0;
  host::Store *store = host::store_of(handle);
  if (store == nullptr) return host::bad_handle(handle);
  return host::store_status(host::free_space(*store, bytes), store->path);
}

pss_handle pss_shrink(pss_handle handle, uint32_t *status) {
  host::Store *store = host::store_of(handle);
  const uint32_t result =
      store != nullptr ? host::copy_over(*store, std::string(store->path)) : host::bad_handle(handle);
  if (status != nullptr) *status = result;
  if (result != 0) return 0;
  const pss_handle fresh = host::new_handle(store);
  if (fresh == 0) return handle;
  host::close_handle(handle);
  return fresh;
}

}  // extern "C"
