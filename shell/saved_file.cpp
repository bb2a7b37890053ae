// SPDX-License-Identifier: Apache-2.0
#include "shell/saved_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "host/files/directory.h"
#include "shell/exit_status.h"

namespace shell {

namespace {

int failed(const std::string &file, const char *what) {
  std::fprintf(stderr, "Error: %s: %s: %s\n", file.c_str(), what, std::strerror(errno));
  return failure_status;
}

// Root may write into another user's directory, where a hard link could lead to any file.
bool is_ones_own_file(int descriptor) {
  struct stat status {};
  return fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode) && status.st_nlink == 1 &&
         status.st_uid == geteuid();
}

// A buffer that was lost on the way does not fail the last one.
bool is_whole(FILE *file) {
  if (std::fflush(file) != 0) return false;
  if (std::ferror(file) == 0) return fsync(fileno(file)) == 0;
  errno = EIO;
  return false;
}

// Its name too. A directory that the user may write into and not read can be synced with its file system alone.
bool is_durable(FILE *file, const std::string &path) {
  return is_whole(file) && (host::sync_directory(host::parent_directory(path)) || syncfs(fileno(file)) == 0);
}

}  // namespace

int write_own_file(const std::string &path, const std::function<int(FILE *)> &write) {
  const int descriptor =
      open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY, S_IRUSR | S_IWUSR);
  if (descriptor < 0) return failed(path, "cannot be written");
  if (!is_ones_own_file(descriptor)) {
    close(descriptor);
    std::fprintf(stderr, "Error: %s: exists and is not a regular file of your own; name another\n", path.c_str());
    return failure_status;
  }
  FILE *file = ftruncate(descriptor, 0) == 0 ? fdopen(descriptor, "w") : nullptr;
  if (file == nullptr) {
    const int status = failed(path, "cannot be written");
    close(descriptor);
    return status;
  }
  const int status = write(file);
  const bool durable = is_durable(file, path);
  return std::fclose(file) == 0 && durable ? status : failed(path, "was not written whole");
}

}  // namespace shell
