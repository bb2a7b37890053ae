// SPDX-License-Identifier: Apache-2.0
#include "service/configuration/startup_level.h"

#include <sys/stat.h>
#include <unistd.h>

#include <fstream>

#include "host/files/directory.h"
#include "host/files/private_file.h"
#include "host/files/whole_file.h"
#include "host/status.h"
#include "host/store/store.h"
#include "schedcli.h"
#include "service/configuration/history.h"
#include "service/request/logging_level.h"

namespace service {
namespace {

std::string level_path() {
  return configuration_directory() + "/level-of-startup";
}

// Another one as soon as the store's file is replaced.
std::string identity_of_startup() {
  struct stat found = {};
  if (stat(host::store_path(sch_pss_startup_uri).c_str(), &found) != 0) return {};
  return std::to_string(found.st_ino) + "-" + std::to_string(found.st_mtim.tv_sec) + "." +
         std::to_string(found.st_mtim.tv_nsec);
}

std::optional<int32_t> held_level() {
  std::ifstream file(level_path());
  std::string identity;
  int32_t level = 0;
  if (!(file >> identity >> level) || identity != identity_of_startup()) return std::nullopt;
  return level;
}

// Nothing: its store is there and cannot be read.
std::optional<int32_t> stored_level() {
  uint32_t error = 0;
  if (!host::store_exists(sch_debug_pss_startup_uri)) return default_logging_level;
  const pss_handle store = pss_open(sch_debug_pss_startup_uri, &error);
  if (error != 0) return std::nullopt;
  const int32_t level = logging_level(store);
  pss_close(store);
  return level;
}

}  // namespace

std::optional<int32_t> startup_logging_level() {
  if (!host::store_exists(sch_pss_startup_uri)) return std::nullopt;
  const std::optional<int32_t> held = held_level();
  return held ? held : stored_level();
}

host::Result<void> hold_startup_logging_level() {
  if (!host::store_exists(sch_pss_startup_uri)) return {};
  const std::optional<int32_t> level = startup_logging_level();
  if (!level) return {};  // a level that cannot be read now is not known to be the default
  if (const host::Result<void> made = host::make_private_directory(configuration_directory()); !made)
    return host::Error{host::err_io, made.error().text};
  return host::write_whole_file(level_path(), identity_of_startup() + " " + std::to_string(*level) + "\n");
}

void release_startup_logging_level() {
  unlink(level_path().c_str());
}

}  // namespace service
