// SPDX-License-Identifier: Apache-2.0
#include "service/process/script.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <memory>
#include <span>

#include "host/files/file_descriptor.h"
#include "host/files/whole_file.h"
#include "host/status.h"
#include "service/process/close_directory.h"

namespace service {
namespace {

host::Error unusable(const std::string &path) {
  return {host::err_io, path + ": " + std::strerror(errno)};
}

}  // namespace

Script::~Script() {
  if (!path_.empty()) unlink(path_.c_str());
}

host::Result<Script> Script::make(const std::string &directory, const std::string &text, const host::User *owner) {
  static uint64_t made = 0;
  std::string path = directory + "/" + std::to_string(getpid()) + "-" + std::to_string(++made);
  const host::FileDescriptor file(open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, S_IRUSR));
  if (!file) return unusable(path);
  Script script(path);
  if (!host::write_at(file.get(), std::as_bytes(std::span<const char>(text)), 0) ||
      (owner != nullptr && fchown(file.get(), owner->uid, owner->gid) != 0))
    return unusable(path);
  return script;
}

host::Result<void> clear_scripts(const std::string &directory, bool for_every_user) {
  const mode_t mode = for_every_user ? 0711 : 0700;
  if (mkdir(directory.c_str(), mode) != 0 && errno != EEXIST) return unusable(directory);
  const std::unique_ptr<DIR, CloseDirectory> entries(opendir(directory.c_str()));
  struct stat status = {};
  if (!entries || fstat(dirfd(entries.get()), &status) != 0) return unusable(directory);
  if (status.st_uid != geteuid()) return host::Error{host::err_io, directory + ": belongs to another user; remove it"};
  if (fchmod(dirfd(entries.get()), mode) != 0) return unusable(directory);  // whatever the umask
  while (const dirent *entry = readdir(entries.get()))
    unlinkat(dirfd(entries.get()), entry->d_name, 0);  // fails for "." and "..", which is harmless
  return {};
}

}  // namespace service
