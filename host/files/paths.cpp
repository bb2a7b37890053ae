// SPDX-License-Identifier: Apache-2.0
#include "host/files/paths.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <optional>
#include <utility>

namespace host {
namespace {

std::string environment(const char *name) {
  const char *value = secure_getenv(name);
  return value != nullptr ? value : "";
}

std::string absolute(const std::string &path) {
  if (path.starts_with('/')) return path;
  char *here = getcwd(nullptr, 0);
  std::string result = here != nullptr ? std::string(here) + "/" + path : path;
  free(here);
  return result;
}

std::string user_state() {
  std::string base = environment("XDG_STATE_HOME");
  if (!base.starts_with('/')) base = environment("HOME") + "/.local/state";
  return base + "/schedcli";
}

std::string default_run(const std::string &state, bool root) {
  if (root) return "/run/schedcli";
  const std::string base = environment("XDG_RUNTIME_DIR");
  return base.starts_with('/') ? base + "/schedcli" : state + "/run";
}

std::optional<Paths> &current() {
  static std::optional<Paths> instance;
  return instance;
}

}  // namespace

Paths resolve_paths(const char *state_dir) {
  Paths result;
  result.system_wide = geteuid() == 0;
  const std::string named = state_dir != nullptr && *state_dir != '\0' ? state_dir : environment("SCHEDCLI_STATE_DIR");
  if (!named.empty()) {
    result.state = absolute(named);
    result.run = result.state + "/run";
  } else {
    result.state = result.system_wide ? "/var/lib/schedcli" : user_state();
    result.run = default_run(result.state, result.system_wide);
  }
  if (const std::string run = environment("SCHEDCLI_RUN_DIR"); !run.empty()) result.run = absolute(run);
  result.socket = result.run + "/schedd.sock";
  return result;
}

Paths client_paths(const char *system_socket) {
  Paths result = resolve_paths(nullptr);
  const bool named = !environment("SCHEDCLI_STATE_DIR").empty() || !environment("SCHEDCLI_RUN_DIR").empty();
  const bool own_service = access(result.socket.c_str(), F_OK) == 0;
  if (!named && !own_service && access(system_socket, F_OK) == 0) result.socket = system_socket;
  return result;
}

const Paths &paths() {
  if (!current()) current() = client_paths();
  return *current();
}

void use_paths(Paths paths) {
  current() = std::move(paths);
}

std::string closed_to_others(const std::string &path) {
  for (size_t slash = path.find('/', 1); slash != std::string::npos; slash = path.find('/', slash + 1)) {
    std::string directory = path.substr(0, slash);
    struct stat found {};
    if (stat(directory.c_str(), &found) != 0 || (found.st_mode & S_IXOTH) == 0) return directory;
  }
  return "";
}

}  // namespace host
