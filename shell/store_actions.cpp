// SPDX-License-Identifier: Apache-2.0
// Stores as text. The shell opens the store files itself, without the service, so only their owner or root can do this.
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
#include "shell/saved_file.h"
#include "shell/session.h"

namespace shell {

namespace {

struct FileCloser {
  void operator()(FILE *file) const { std::fclose(file); }
};
using File = std::unique_ptr<FILE, FileCloser>;

int file_failed(const std::string &file, const char *what) {
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

int dump_to_file(const std::string &store, const std::string &path) {
  return write_own_file(path, [&](FILE *file) { return reported(host::store_dump(store.c_str(), file)); });
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
  return file == nullptr ? file_failed(*path, "cannot be read") : reported(host::store_load(store.c_str(), file.get()));
}

}  // namespace shell
