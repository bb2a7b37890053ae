// SPDX-License-Identifier: Apache-2.0
#include "host/files/directory.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "host/files/file_descriptor.h"

namespace host {
namespace {

bool refuse(const std::string &path, const std::string &reason, std::string *error) {
  if (error != nullptr) *error = path + ": " + reason;
  errno = EPERM;
  return false;
}

bool refuse_errno(const std::string &path, const std::string &what, std::string *error) {
  const int kept = errno;
  refuse(path, what + ": " + strerror(kept) + "; check the directory's path and permissions, or name another one",
         error);
  errno = kept;
  return false;
}

bool make_one(const std::string &path, std::string *error) {
  if (mkdir(path.c_str(), 0700) != 0) {
    return errno == EEXIST || refuse_errno(path, "cannot make the directory", error);
  }
  // The umask may have taken bits of the owner.
  if (chmod(path.c_str(), 0700) != 0) return refuse_errno(path, "cannot set the directory's mode", error);
  return sync_directory(parent_directory(path)) || refuse_errno(path, "cannot make the directory durable", error);
}

bool make_with_parents(const std::string &path, std::string *error) {
  struct stat found {};
  if (stat(path.c_str(), &found) == 0) return true;
  if (errno != ENOENT) return refuse_errno(path, "cannot use the directory", error);
  const std::string parent = parent_directory(path);
  return (parent == path || make_with_parents(parent, error)) && make_one(path, error);
}

}  // namespace

std::string parent_directory(const std::string &path) {
  const std::size_t last = path.find_last_not_of('/');
  const std::size_t slash = last == std::string::npos ? last : path.find_last_of('/', last);
  if (slash == std::string::npos) return path.starts_with('/') ? "/" : ".";
  const std::size_t end = path.find_last_not_of('/', slash);
  return end == std::string::npos ? "/" : path.substr(0, end + 1);
}

bool is_private_directory(const std::string &path, std::string *error) {
  struct stat found {};
  if (stat(path.c_str(), &found) != 0) return refuse_errno(path, "cannot use the directory", error);
  if (!S_ISDIR(found.st_mode)) return refuse(path, "is no directory; remove it or name another one", error);
  if (found.st_uid != geteuid()) {
    return refuse(path,
                  "belongs to user " + std::to_string(found.st_uid) + ", not to user " + std::to_string(geteuid()) +
                      "; give it to that user (chown) or name another directory",
                  error);
  }
  if ((found.st_mode & (S_IWGRP | S_IWOTH)) != 0) {
    return refuse(path, "can be written by group or others; run chmod go-w on it or name another directory", error);
  }
  return true;
}

bool make_private_directory(const std::string &path, std::string *error) {
  return make_with_parents(path, error) && is_private_directory(path, error);
}

bool sync_directory(const std::string &path) {
  const FileDescriptor directory(open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  return directory && fsync(directory.get()) == 0;
}

}  // namespace host
