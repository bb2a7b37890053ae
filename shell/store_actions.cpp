// SPDX-License-Identifier: Apache-2.0
// Stores as text. The files are opened here, beside the service; only their owner or root can do that.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

#include "host/files/paths.h"
#include "host/store/store.h"
#include "platform/errors.h"
#include "shell/actions.h"
#include "shell/session.h"

namespace shell {

namespace {

struct FileCloser {
  void operator()(FILE *file) const { std::fclose(file); }
};
using File = std::unique_ptr<FILE, FileCloser>;

int failed(const std::string &file, const char *what) {
  std::fprintf(stderr, "Error: %s: %s: %s\n", file.c_str(), what, std::strerror(errno));
  return failure_status;
}

bool may_open_stores() {
  const std::string &directory = host::paths().state;
  struct stat status {};
  if (geteuid() == 0 || stat(directory.c_str(), &status) != 0 || status.st_uid == geteuid()) return true;
  std::fprintf(stderr, "Error: the stores in %s belong to another user; use its account, or root's\n",
               directory.c_str());
  return false;
}

int reported(const host::Result<void> &result) {
  if (!result) std::fprintf(stderr, "Error: %s: %s\n", syserr2str(result.code()), result.error().text.c_str());
  return static_cast<int>(result.code());
}

// Whoever dumps as root into a directory of others must not write over what they linked there.
bool is_ones_own_file(int descriptor) {
  struct stat status {};
  return fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode) && status.st_nlink == 1 &&
         status.st_uid == geteuid();
}

int dump_to_file(const std::string &store, const std::string &path) {
  const int descriptor =
      open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, S_IRUSR | S_IWUSR);
  if (descriptor < 0) return failed(path, "cannot be written");
  if (!is_ones_own_file(descriptor)) {
    close(descriptor);
    std::fprintf(stderr, "Error: %s: is there and no plain file of your own; name another\n", path.c_str());
    return failure_status;
  }
  FILE *file = ftruncate(descriptor, 0) == 0 ? fdopen(descriptor, "w") : nullptr;
  if (file == nullptr) {
    const int status = failed(path, "cannot be written");
    close(descriptor);
    return status;
  }
  const int status = reported(host::store_dump(store.c_str(), file));
  const bool whole = std::fflush(file) == 0 && fsync(descriptor) == 0;
  return std::fclose(file) == 0 && whole ? status : failed(path, "was not written whole");
}

}  // namespace

int store_dump(Session &, const Match &match) {
  if (!may_open_stores()) return failure_status;
  const std::string &store = *match.value("store");
  const std::string *path = match.value("file");
  return path != nullptr ? dump_to_file(store, *path) : reported(host::store_dump(store.c_str(), stdout));
}

int store_load(Session &session, const Match &match) {
  if (!may_open_stores()) return failure_status;
  const std::string &store = *match.value("store");
  const std::string *path = match.value("file");
  if (path == nullptr && session.options().input_is_stdin) {
    std::fprintf(stderr, "Error: the commands come from standard input; name the file to load\n");
    return failure_status;
  }
  if (path == nullptr) return reported(host::store_load(store.c_str(), stdin));
  const File file(std::fopen(path->c_str(), "re"));
  return file == nullptr ? failed(*path, "cannot be read") : reported(host::store_load(store.c_str(), file.get()));
}

}  // namespace shell
