// SPDX-License-Identifier: Apache-2.0
#include "host/sysmgr.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>

#include "host/files/directory.h"
#include "host/files/file_descriptor.h"
#include "host/files/paths.h"
#include "host/status.h"
#include "host/store/file.h"
#include "host/store/store.h"
#include "platform/sysmgr.h"

namespace host {
namespace {

constexpr char running_store[] = "running:scheduler_runtime";
constexpr char startup_store[] = "startup:scheduler_startup";
constexpr std::size_t uri_size = 64;  // of the library's buffers

struct Start {
  FileDescriptor lock;
  bool prepared = false;
  bool first_since_boot = false;
};

Start &start() {
  static Start instance;
  return instance;
}

bool fail(std::string *error, const std::string &path, const std::string &reason) {
  if (error != nullptr) *error = path + ": " + reason;
  return false;
}

std::string first_line(const std::string &path) {
  std::ifstream file(path);
  std::string line;
  std::getline(file, line);
  return line;
}

std::string boot_id() {
  const char *given = secure_getenv("SCHEDCLI_BOOT_ID");
  return given != nullptr && *given != '\0' ? given : first_line("/proc/sys/kernel/random/boot_id");
}

std::string boot_marker() {
  return paths().run + "/boot";
}
std::string service_lock() {
  return paths().state + "/service.lock";
}

bool write_process_id(int file) {
  const std::string text = std::to_string(getpid()) + "\n";
  return ftruncate(file, 0) == 0 && pwrite(file, text.data(), text.size(), 0) == static_cast<ssize_t>(text.size());
}

// Kept until the process ends; the kernel gives it back whatever happens.
bool take_lock(std::string *error) {
  const std::string path = service_lock();
  FileDescriptor file(open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600));
  if (!file) return fail(error, path, std::string(strerror(errno)) + "; check the directory's permissions");
  if (flock(file.get(), LOCK_EX | LOCK_NB) != 0) {
    if (errno != EWOULDBLOCK) return fail(error, path, strerror(errno));
    return fail(error, path,
                "process " + first_line(path) + " serves this directory already; stop it, or name another " +
                    "state directory");
  }
  if (fchmod(file.get(), 0600) != 0 || !write_process_id(file.get())) {
    return fail(error, path, std::string(strerror(errno)) + "; make room on the disk");
  }
  start().lock = std::move(file);
  return true;
}

// A left-over running configuration would bring records back that the startup configuration does not have. Nothing is
// lost by a crash after this: until sysmgr_mark_started the next start is a boot again. What is no store is somebody's
// and stays.
bool drop_running_configuration(std::string *error) {
  if (!store_exists(running_store)) return true;
  if (check_store_file(store_path(running_store)) && pss_destroy(running_store) == 0) return true;
  if (error != nullptr) *error = store_last_error();
  return false;
}

// The socket of a system-wide service is for every user, who must get to it.
bool make_run_directory(std::string *error) {
  const std::string &path = paths().run;
  if (!make_private_directory(path, error)) return false;
  if (!paths().system_wide || chmod(path.c_str(), 0755) == 0) return true;
  return fail(error, path, std::string("cannot open the directory to users: ") + strerror(errno));
}

bool write_marker(const std::string &path) {
  const std::string text = boot_id() + "\n", fresh = path + ".new";
  {
    const FileDescriptor file(open(fresh.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOFOLLOW, 0600));
    if (!file || write(file.get(), text.data(), text.size()) != static_cast<ssize_t>(text.size()) ||
        fsync(file.get()) != 0) {
      return false;
    }
  }
  return rename(fresh.c_str(), path.c_str()) == 0 && sync_directory(paths().run);
}

const char *completed(const std::string &uri) {
  static char text[uri_size];
  if (uri.size() >= sizeof text) return nullptr;
  memcpy(text, uri.c_str(), uri.size() + 1);
  return text;
}

}  // namespace

bool sysmgr_prepare(std::string *error) {
  if (!make_private_directory(paths().state, error) || !make_run_directory(error)) return false;
  if (!start().lock && !take_lock(error)) return false;
  start().first_since_boot = first_line(boot_marker()) != boot_id();
  start().prepared = true;
  return sysmgr_is_stateless_restart() == 0 || drop_running_configuration(error);
}

bool sysmgr_mark_started(std::string *error) {
  return write_marker(boot_marker()) || fail(error, boot_marker(),
                                             std::string("cannot mark the start: ") + strerror(errno) +
                                                 "; check the disk and the directory's permissions");
}

bool sysmgr_first_start_since_boot() {
  return start().prepared && start().first_since_boot;
}

}  // namespace host

extern "C" {

const char *sysmgr_running_cfg_uri_get(void) {
  return "running:";
}
const char *sysmgr_startup_cfg_uri_get(void) {
  return "startup:";
}
const char *sysmgr_debug_cfg_uri_get(void) {
  return "debug:";
}

const char *sysmgr_uri_complete(const char *base, const char *empty, const char *name) {
  if (base == nullptr || name == nullptr) return nullptr;
  return host::completed(std::string(base) + (empty != nullptr ? empty : "") + name);
}

int sysmgr_is_stateless_restart(void) {
  return host::sysmgr_first_start_since_boot() && host::store_exists(host::startup_store) ? 1 : 0;
}

}  // extern "C"
