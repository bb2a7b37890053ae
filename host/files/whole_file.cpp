// SPDX-License-Identifier: Apache-2.0
#include "host/files/whole_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>

#include "host/files/directory.h"
#include "host/files/disk.h"
#include "host/status.h"

namespace host {
namespace {

// Removes the draft.
Error fail(const std::string &draft, const std::string &path, int number) {
  unlink(draft.c_str());
  return {err_io, path + ": cannot write the file: " + std::strerror(number) + "; check its directory and its disk"};
}

}  // namespace

// The draft has a fixed name, so that one left by a crash is replaced. Only one process writes these files.
Result<FileDescriptor> create_whole_file(const std::string &path, uint32_t size, std::span<const std::byte> head) {
  const std::string draft = path + ".new";
  unlink(draft.c_str());
  FileDescriptor file(open(draft.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
  if (!file) return fail(draft, path, errno);
  const int no_room = size == 0 ? 0 : posix_fallocate(file.get(), 0, size);
  if (no_room != 0) return fail(draft, path, no_room);
  // The umask may have removed the owner's permissions.
  if (fchmod(file.get(), 0600) != 0 || !write_at(file.get(), head, 0) || flush(file.get()) != 0 ||
      !rename_file(draft, path))
    return fail(draft, path, errno);
  return file;
}

Result<void> write_whole_file(const std::string &path, std::span<const char> content) {
  const auto file = create_whole_file(path, static_cast<uint32_t>(content.size()), std::as_bytes(content));
  if (!file) return file.error();
  return {};
}

bool rename_file(const std::string &from, const std::string &to) {
  return std::rename(from.c_str(), to.c_str()) == 0 && sync_directory(parent_directory(to));
}

Result<std::string> read_to_end(int file, size_t limit) {
  std::string text;
  char buffer[65536];
  while (text.size() <= limit) {
    const ssize_t size = ::read(file, buffer, std::min(sizeof buffer, limit + 1 - text.size()));
    if (size < 0 && errno == EINTR) continue;
    if (size < 0) return Error{err_io, std::strerror(errno)};
    if (size == 0) break;
    text.append(buffer, static_cast<size_t>(size));
  }
  return text;
}

std::string first_line(const std::string &path) {
  std::ifstream file(path);
  std::string line;
  std::getline(file, line);
  return line;
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
