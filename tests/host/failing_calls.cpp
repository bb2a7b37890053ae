// SPDX-License-Identifier: Apache-2.0
#include "tests/host/failing_calls.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <filesystem>

namespace files_test {

Trouble trouble;
std::size_t most_at_once = 0;
std::vector<std::string> synced;

FailingCalls::~FailingCalls() {
  trouble = {};
  most_at_once = 0;
  synced.clear();
}

namespace {

std::string path_of(int descriptor) {
  char path[4096];
  const ssize_t size = readlink(("/proc/self/fd/" + std::to_string(descriptor)).c_str(), path, sizeof path);
  return {path, static_cast<std::size_t>(std::max<ssize_t>(size, 0))};
}

// Not by a look at the path where nothing is to fail, as libraries call these too.
template <typename PathOf>
bool fails(const char *call, PathOf path) {
  if (trouble.times <= 0 || trouble.call != call || path() != trouble.path) return false;
  trouble.times--;
  errno = trouble.error;
  return true;
}

bool fails_at(const char *call, const char *path) {
  return fails(call, [path] { return std::string(path); });
}

bool fails_on(const char *call, int descriptor) {
  return fails(call, [descriptor] { return path_of(descriptor); });
}

std::size_t at_most(std::size_t size) {
  return most_at_once == 0 ? size : std::min(size, most_at_once);
}

// With offsets of 64 bits on 32, the C library has them under other names.
template <typename Call>
Call *real(const std::string &name, Call *, bool has_offset) {
  const bool is_wide = has_offset && sizeof(off_t) > sizeof(void *);
  return reinterpret_cast<Call *>(dlsym(RTLD_NEXT, (name + (is_wide ? "64" : "")).c_str()));
}

}  // namespace
}  // namespace files_test

using namespace files_test;

// In the place of the C library's, for every library of the process.
extern "C" {
int mkdir(const char *path, mode_t mode) noexcept {
  return fails_at("mkdir", path) ? -1 : static_cast<int>(syscall(SYS_mkdirat, AT_FDCWD, path, mode));
}
int chmod(const char *path, mode_t mode) noexcept {
  return fails_at("chmod", path) ? -1 : static_cast<int>(syscall(SYS_fchmodat, AT_FDCWD, path, mode));
}
int fchmod(int file, mode_t mode) noexcept {
  return fails_on("fchmod", file) ? -1 : static_cast<int>(syscall(SYS_fchmod, file, mode));
}
int fsync(int file) {
  if (fails_on("fsync", file)) return -1;
  synced.push_back(path_of(file));
  return static_cast<int>(syscall(SYS_fsync, file));
}
int fdatasync(int file) {
  if (fails_on("fdatasync", file)) return -1;
  synced.push_back("data of " + path_of(file));
  return static_cast<int>(syscall(SYS_fdatasync, file));
}
int rename(const char *from, const char *to) noexcept {
  return fails_at("rename", to) ? -1 : static_cast<int>(syscall(SYS_renameat2, AT_FDCWD, from, AT_FDCWD, to, 0));
}
int posix_fallocate(int file, off_t offset, off_t size) {
  static const auto call = real("posix_fallocate", &posix_fallocate, true);
  return fails_on("posix_fallocate", file) ? errno : call(file, offset, size);
}
ssize_t read(int file, void *bytes, size_t size) {
  static const auto call = real("read", &read, false);
  return fails_on("read", file) ? -1 : call(file, bytes, at_most(size));
}
ssize_t pread(int file, void *bytes, size_t size, off_t offset) {
  static const auto call = real("pread", &pread, true);
  return fails_on("pread", file) ? -1 : call(file, bytes, at_most(size), offset);
}
ssize_t pwrite(int file, const void *bytes, size_t size, off_t offset) {
  static const auto call = real("pwrite", &pwrite, true);
  return fails_on("pwrite", file) ? -1 : call(file, bytes, at_most(size), offset);
}
}
