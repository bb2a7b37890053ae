// SPDX-License-Identifier: Apache-2.0
#include "host/files/directory.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "host/files/disk.h"
#include "host/files/file_descriptor.h"
#include "host/status.h"

namespace host {
namespace {

Error refused(const std::string &path, const std::string &reason) {
  return {err_not_permitted, path + ": " + reason};
}

Error unusable(const std::string &path, const std::string &what) {
  const uint32_t code = errno == ENOENT ? err_absent : errno == EACCES || errno == EPERM ? err_not_permitted : err_io;
  return {code, path + ": " + what + ": " + strerror(errno) +
                    "; check the directory's path and permissions, or name another one"};
}

Result<void> make_one(const std::string &path) {
  if (mkdir(path.c_str(), 0700) != 0) {
    if (errno == EEXIST) return {};
    return unusable(path, "cannot make the directory");
  }
  // The umask may have removed the owner's permissions.
  if (chmod(path.c_str(), 0700) != 0) return unusable(path, "cannot set the directory's mode");
  if (!sync_directory(parent_directory(path))) return unusable(path, "cannot make the directory durable");
  return {};
}

Result<void> make_with_parents(const std::string &path) {
  struct stat found {};
  if (stat(path.c_str(), &found) == 0) return {};
  if (errno != ENOENT) return unusable(path, "cannot use the directory");
  const std::string parent = parent_directory(path);
  if (parent != path)
    if (Result<void> made = make_with_parents(parent); !made) return made;
  return make_one(path);
}

}  // namespace

std::string parent_directory(const std::string &path) {
  const std::size_t last = path.find_last_not_of('/');
  const std::size_t slash = last == std::string::npos ? last : path.find_last_of('/', last);
  if (slash == std::string::npos) return path.starts_with('/') ? "/" : ".";
  const std::size_t end = path.find_last_not_of('/', slash);
  return end == std::string::npos ? "/" : path.substr(0, end + 1);
}

Result<void> check_private_directory(const std::string &path) {
  struct stat found {};
  if (stat(path.c_str(), &found) != 0) return unusable(path, "cannot use the directory");
  if (!S_ISDIR(found.st_mode)) return refused(path, "is no directory; remove it or name another one");
  if (found.st_uid != geteuid())
    return refused(path, "belongs to user " + std::to_string(found.st_uid) + ", not to user " +
                             std::to_string(geteuid()) + "; give it to that user (chown) or name another directory");
  if ((found.st_mode & (S_IWGRP | S_IWOTH)) != 0)
    return refused(path, "can be written by group or others; run chmod go-w on it or name another directory");
  return {};
}

Result<void> make_private_directory(const std::string &path) {
  Result<void> made = make_with_parents(path);
  return made ? check_private_directory(path) : made;
}

bool sync_directory(const std::string &path) {
  const FileDescriptor directory(open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  return directory && flush(directory.get()) == 0;
}

}  // namespace host
