// SPDX-License-Identifier: Apache-2.0
#include "host/files/private_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "host/files/file_descriptor.h"
#include "host/status.h"

namespace host {

namespace {

Error failed(const std::string &path, const std::string &what) {
  return {err_io, path + ": " + what};
}

Error failed_errno(const std::string &path, const std::string &what) {
  return failed(path, "cannot " + what + ": " + std::strerror(errno) + "; check the state directory and its disk");
}

const char *objection(const struct stat &info, std::size_t limit) {
  if (!S_ISREG(info.st_mode)) return "is no regular file; move it away";
  if (info.st_uid != geteuid()) return "belongs to another user; give it to the service's user (chown)";
  if ((info.st_mode & (S_IRWXG | S_IRWXO)) != 0)
    return "can be used by others than its owner; run chmod 600 on it, and set the passwords anew if it was read";
  if (static_cast<std::size_t>(info.st_size) > limit) return "is too large to be this file; restore it from a backup";
  return nullptr;
}

bool read_whole(int descriptor, std::string *content) {
  std::size_t size = 0;
  while (size < content->size()) {
    const ssize_t count = read(descriptor, content->data() + size, content->size() - size);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return false;
    if (count == 0) break;
    size += static_cast<std::size_t>(count);
  }
  content->resize(size);
  return true;
}

}  // namespace

Result<std::optional<std::string>> read_private_file(const std::string &path, std::size_t limit) {
  const FileDescriptor file(open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  if (!file && errno == ENOENT) return std::optional<std::string>();
  if (!file) return failed_errno(path, "open the file");
  struct stat info = {};
  if (fstat(file.get(), &info) != 0) return failed_errno(path, "look at the file");
  if (const char *reason = objection(info, limit)) return failed(path, reason);
  std::string content(static_cast<std::size_t>(info.st_size), '\0');
  if (!read_whole(file.get(), &content)) return failed_errno(path, "read the file");
  return std::optional(std::move(content));
}

}  // namespace host
