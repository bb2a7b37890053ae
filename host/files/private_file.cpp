// SPDX-License-Identifier: Apache-2.0
#include "host/files/private_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "host/files/directory.h"
#include "host/files/file_descriptor.h"

namespace host {

namespace {

constexpr mode_t private_mode = 0600;

FileResult failed(const std::string &path, const std::string &what, std::string *error) {
  *error = path + ": " + what;
  return FileResult::failed;
}

FileResult failed_errno(const std::string &path, const std::string &what, std::string *error) {
  return failed(path, "cannot " + what + ": " + std::strerror(errno) + "; check the state directory and its disk",
                error);
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

bool write_whole(int descriptor, std::span<const char> content) {
  while (!content.empty()) {
    const ssize_t count = write(descriptor, content.data(), content.size());
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return false;
    content = content.subspan(static_cast<std::size_t>(count));
  }
  return true;
}

// The name is fixed: the one service is the only writer, and what a crash left behind is replaced.
FileDescriptor create_beside(const std::string &path) {
  unlink(path.c_str());
  return FileDescriptor(open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, private_mode));
}

bool write_durably(const std::string &path, std::span<const char> content) {
  const FileDescriptor file = create_beside(path);
  return file && fchmod(file.get(), private_mode) == 0 && write_whole(file.get(), content) && fsync(file.get()) == 0;
}

}  // namespace

FileResult read_private_file(const std::string &path, std::size_t limit, std::string *content, std::string *error) {
  const FileDescriptor file(open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  if (!file && errno == ENOENT) return FileResult::absent;
  if (!file) return failed_errno(path, "open the file", error);
  struct stat info = {};
  if (fstat(file.get(), &info) != 0) return failed_errno(path, "look at the file", error);
  if (const char *reason = objection(info, limit)) return failed(path, reason, error);
  content->resize(static_cast<std::size_t>(info.st_size));
  return read_whole(file.get(), content) ? FileResult::done : failed_errno(path, "read the file", error);
}

FileResult write_private_file(const std::string &path, std::span<const char> content, std::string *error) {
  const std::string beside = path + ".new";
  if (!write_durably(beside, content) || rename(beside.c_str(), path.c_str()) != 0) {
    const FileResult result = failed_errno(path, "write the file", error);
    unlink(beside.c_str());
    return result;
  }
  return sync_directory(parent_directory(path)) ? FileResult::done : failed_errno(path, "make the file durable", error);
}

}  // namespace host
