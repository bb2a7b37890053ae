// SPDX-License-Identifier: Apache-2.0
#include "host/sysmgr.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "host/files/paths.h"
#include "host/files/whole_file.h"
#include "host/state_directory.h"
#include "host/status.h"
#include "host/store/file.h"
#include "host/store/store.h"
#include "platform/sysmgr.h"

namespace host {
namespace {

constexpr std::size_t uri_size = 64;  // of the library's buffers

struct Start {
  bool prepared = false;
  bool first_since_boot = false;
  BootFrom boot_from = BootFrom::running;
};

Start &start() {
  static Start instance;
  return instance;
}

std::string boot_id() {
  const char *given = secure_getenv("SCHEDCLI_BOOT_ID");
  return given != nullptr && *given != '\0' ? given : first_line("/proc/sys/kernel/random/boot_id");
}

// Not in the run directory, which is also removed without a boot: by a supervisor at a restart, and when a user's
// session ends.
std::string boot_marker() {
  return paths().state + "/boot";
}

const char *completed(const std::string &uri) {
  static char text[uri_size];
  if (uri.size() >= sizeof text) return nullptr;
  memcpy(text, uri.c_str(), uri.size() + 1);
  return text;
}

}  // namespace

Result<void> sysmgr_prepare(BootFrom boot_from) {
  if (Result<void> taken = take_state_directory(); !taken) return taken;
  start() = {true, first_line(boot_marker()) != boot_id(), boot_from};
  return {};
}

Result<void> sysmgr_drop_running_configuration() {
  if (sysmgr_is_stateless_restart() == 0 || !store_exists(running_store)) return {};
  if (Result<void> sound = check_store_file(store_path(running_store)); !sound) return sound;
  if (const uint32_t error = pss_destroy(running_store); error != 0) return Error{error, store_last_error()};
  return {};
}

Result<void> sysmgr_mark_started() {
  return write_whole_file(boot_marker(), boot_id() + "\n");
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
  const bool wanted = host::start().boot_from == host::BootFrom::startup;
  return wanted && host::sysmgr_first_start_since_boot() && host::store_exists(host::startup_store) ? 1 : 0;
}

}  // extern "C"
