// SPDX-License-Identifier: Apache-2.0
#include "shell/whole_input.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "host/files/file_descriptor.h"
#include "host/files/whole_file.h"
#include "host/status.h"

namespace shell {

namespace {

// Twice the size of a configuration with a full table of the largest jobs.
constexpr size_t input_limit = 32 << 20;

host::Error unusable(const std::string &path, const std::string &what) {
  return {host::err_io, path + ": " + what};
}

std::string objection_to(int descriptor) {
  struct stat status {};
  if (fstat(descriptor, &status) != 0) return std::strerror(errno);
  if (S_ISDIR(status.st_mode)) return "is a directory";
  const bool is_terminal = isatty(descriptor) != 0;
  if ((S_ISCHR(status.st_mode) && !is_terminal) || S_ISBLK(status.st_mode)) return "is a device, no file";
  return S_ISREG(status.st_mode) && static_cast<size_t>(status.st_size) > input_limit
             ? "is too long for a configuration"
             : "";
}

host::Result<std::string> read_all(int descriptor, const std::string &path) {
  if (const std::string objection = objection_to(descriptor); !objection.empty()) return unusable(path, objection);
  const host::Result<std::string> text = host::read_to_end(descriptor, input_limit);
  if (!text) return unusable(path, text.error().text);
  return text->size() > input_limit ? unusable(path, "is too long for a configuration, or does not end") : text;
}

}  // namespace

host::Result<std::string> read_whole(const std::string &path) {
  if (path == "-") return read_all(STDIN_FILENO, "standard input");
  struct stat status {};
  const bool is_pipe = stat(path.c_str(), &status) == 0 && S_ISFIFO(status.st_mode);
  // Opening a FIFO must block until its writer opens it, while opening a device must not block.
  const host::FileDescriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC | (is_pipe ? 0 : O_NONBLOCK)));
  return file ? read_all(file.get(), path) : unusable(path, std::strerror(errno));
}

host::Result<void> write_whole(const std::string &path, const std::string &content) {
  struct stat status {};
  if (lstat(path.c_str(), &status) == 0 && !S_ISREG(status.st_mode))
    return unusable(path, "is there and no plain file; name another");
  return host::write_whole_file(path, content);
}

}  // namespace shell
