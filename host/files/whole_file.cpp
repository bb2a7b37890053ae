// SPDX-License-Identifier: Apache-2.0
#include "host/files/whole_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace host {
namespace {

FileDescriptor fail(const std::string &path, int number, std::string *error) {
  *error = path + ": " + std::strerror(number);
  return {};
}

}  // namespace

FileDescriptor create_whole_file(const std::string &path, uint32_t size, std::span<const std::byte> head,
                                 std::string *error) {
  const std::string draft = path + ".new";
  unlink(draft.c_str());  // of an earlier attempt
  FileDescriptor file(open(draft.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, 0600));
  if (!file) return fail(draft, errno, error);
  if (const int number = posix_fallocate(file.get(), 0, size); number != 0) {
    unlink(draft.c_str());
    return fail(draft, number, error);
  }
  if (!write_at(file.get(), head, 0) || fsync(file.get()) != 0 || !rename_file(draft, path)) {
    const int number = errno;
    unlink(draft.c_str());
    return fail(path, number, error);
  }
  return file;
}

bool sync_directory_of(const std::string &path) {
  const size_t slash = path.rfind('/');
  const std::string directory = slash == std::string::npos ? "." : path.substr(0, slash + 1);
  const FileDescriptor opened(open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  return opened && fsync(opened.get()) == 0;
}

bool rename_file(const std::string &from, const std::string &to) {
  return std::rename(from.c_str(), to.c_str()) == 0 && sync_directory_of(to);
}

bool write_at(int file, std::span<const std::byte> bytes, uint64_t offset) {
  while (!bytes.empty()) {
    const ssize_t written = pwrite(file, bytes.data(), bytes.size(), static_cast<off_t>(offset));
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return false;
    bytes = bytes.subspan(static_cast<size_t>(written));
    offset += static_cast<uint64_t>(written);
  }
  return true;
}

size_t read_at(int file, std::span<std::byte> bytes, uint64_t offset) {
  size_t done = 0;
  while (done < bytes.size()) {
    const ssize_t got = pread(file, bytes.data() + done, bytes.size() - done, static_cast<off_t>(offset + done));
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) break;
    done += static_cast<size_t>(got);
  }
  return done;
}

}  // namespace host
