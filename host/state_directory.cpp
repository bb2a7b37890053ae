// SPDX-License-Identifier: Apache-2.0
#include "host/state_directory.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>

#include "host/files/directory.h"
#include "host/files/file_descriptor.h"
#include "host/files/paths.h"
#include "host/files/private_file.h"
#include "host/files/whole_file.h"
#include "host/status.h"
#include "host/store/store.h"
#include "platform/syslog.h"

namespace host {
namespace {

namespace fs = std::filesystem;

// Version 1 kept the boot's id in the run directory and had no version file. Version 2 keeps both in this directory.
constexpr int state_version = 2;
constexpr std::size_t version_size = 16;

struct Held {
  FileDescriptor state, run;
};

Held &held() {
  static Held instance;
  return instance;
}

Error failure(const std::string &path, const std::string &reason) {
  return {err_io, path + ": " + reason};
}

// Every user must be able to reach the socket of a system-wide service.
Result<void> make_run_directory() {
  const std::string &path = paths().run;
  if (Result<void> made = make_private_directory(path); !made) return made;
  if (!paths().system_wide || chmod(path.c_str(), 0755) == 0) return {};
  return failure(path, std::string("cannot open the directory to users: ") + strerror(errno));
}

bool write_process_id(int file) {
  const std::string text = std::to_string(getpid()) + "\n";
  return ftruncate(file, 0) == 0 && pwrite(file, text.data(), text.size(), 0) == static_cast<ssize_t>(text.size());
}

// The lock is held until the process ends; the kernel releases it even after a crash.
Result<FileDescriptor> take_lock(const std::string &path, const char *advice) {
  FileDescriptor file(open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600));
  if (!file) return failure(path, std::string(strerror(errno)) + "; check the directory's permissions");
  if (flock(file.get(), LOCK_EX | LOCK_NB) != 0) {
    if (errno != EWOULDBLOCK) return failure(path, strerror(errno));
    return failure(path, "process " + first_line(path) + " serves this directory already; stop it, or " + advice);
  }
  if (fchmod(file.get(), 0600) != 0 || !write_process_id(file.get()))
    return failure(path, std::string(strerror(errno)) + "; make room on the disk");
  return file;
}

Result<void> take(FileDescriptor *lock, const std::string &path, const char *advice) {
  if (*lock) return {};
  Result<FileDescriptor> taken = take_lock(path, advice);
  if (!taken) return taken.error();
  *lock = std::move(*taken);
  return {};
}

std::string version_file() {
  return paths().state + "/version";
}

// The first version created these stores before anything else.
bool holds_state() {
  return store_exists(running_store) || store_exists(startup_store);
}

Result<int> found_version() {
  const Result<std::optional<std::string>> text = read_private_file(version_file(), version_size);
  if (!text) return text.error();
  if (!*text) return holds_state() ? 1 : state_version;
  char *end = nullptr;
  const long version = std::strtol((*text)->c_str(), &end, 10);
  if (version < 1 || version > 1000000 || std::strcmp(end, "\n") != 0)
    return failure(version_file(), "holds no version; restore it, or name another state directory");
  return static_cast<int>(version);
}

Result<void> write_version() {
  return write_whole_file(version_file(), std::to_string(state_version) + "\n");
}

bool copy_state(const fs::path &to) {
  std::error_code error;
  fs::remove_all(to, error);
  if (!fs::create_directory(to, error) || chmod(to.c_str(), 0700) != 0) return false;
  for (const auto &entry : fs::directory_iterator(paths().state, error)) {
    const std::string name = entry.path().filename();
    if (name == "run" || name == "service.lock" || name.starts_with("before-version-")) continue;
    if (!entry.is_regular_file() && !entry.is_directory()) continue;
    fs::copy(entry.path(), to / name, fs::copy_options::recursive, error);
    if (error) break;
  }
  if (error) errno = error.value();
  const FileDescriptor directory(open(to.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  return !error && directory && syncfs(directory.get()) == 0;
}

// The copy gets its final name only when all of it is on disk, so a directory of that name is complete.
Result<std::string> keep_old_state() {
  const std::string kept = paths().state + "/before-version-" + std::to_string(state_version), fresh = kept + ".new";
  std::error_code ignored;
  if (!fs::exists(kept, ignored) && (!copy_state(fresh) || rename(fresh.c_str(), kept.c_str()) != 0)) {
    const Error error = failure(
        kept, std::string("cannot keep a copy of the older state: ") + strerror(errno) + "; make room on the disk");
    fs::remove_all(fresh, ignored);
    return error;
  }
  if (!sync_directory(paths().state)) return failure(paths().state, strerror(errno));
  return kept;
}

// Without the marker, the first start of the new version would count as a boot.
Result<void> take_over_boot_marker() {
  const std::string id = first_line(paths().run + "/boot"), marker = paths().state + "/boot";
  if (id.empty() || access(marker.c_str(), F_OK) == 0) return {};
  return write_whole_file(marker, id + "\n");
}

Result<void> migrate(int from) {
  const Result<std::string> kept = keep_old_state();
  if (!kept) return kept.error();
  if (Result<void> taken = take_over_boot_marker(); !taken) return taken;
  tarn_syslog(LOG_NOTICE, "state directory %s: migrated from version %d to %d; the old state is kept in %s",
              paths().state.c_str(), from, state_version, kept->c_str());
  return write_version();
}

Result<void> settle_version() {
  const Result<int> version = found_version();
  if (!version) return version.error();
  if (*version > state_version)
    return Error{err_state_newer, paths().state + ": was written by a newer version of the service (" +
                                      std::to_string(*version) + ", this one knows " + std::to_string(state_version) +
                                      "); install that, or name another state directory"};
  if (*version < state_version) return migrate(*version);
  return access(version_file().c_str(), F_OK) == 0 ? Result<void>() : write_version();
}

}  // namespace

Result<void> take_state_directory() {
  if (Result<void> made = make_private_directory(paths().state); !made) return made;
  if (Result<void> made = make_run_directory(); !made) return made;
  const std::string state_lock = paths().state + "/service.lock", run_lock = paths().run + "/service.lock";
  if (Result<void> taken = take(&held().state, state_lock, "name another state directory"); !taken) return taken;
  if (Result<void> taken = take(&held().run, run_lock, "name another run directory"); !taken) return taken;
  return settle_version();
}

}  // namespace host
