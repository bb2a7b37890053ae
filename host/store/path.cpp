// SPDX-License-Identifier: Apache-2.0
#include <sys/stat.h>

#include <algorithm>
#include <string_view>

#include "host/files/paths.h"
#include "host/store/store.h"

namespace host {
namespace {

struct Alias {
  std::string_view scheme;
  std::string_view file_prefix;
};

constexpr Alias aliases[] = {
    {"running:", "running-"},
    {"startup:", "startup-"},
    {"debug:", "debug-"},
    {"startup-debug:", "debug-"},  // the configuration manager's name for the same base
};

constexpr std::size_t uri_limit = 63;  // the library keeps URIs in 64 bytes

// Letters, digits and underscores only, so that a name cannot lead out of the directory and a file has only one name.
bool is_store_name(std::string_view name) {
  return !name.empty() && std::ranges::all_of(name, [](char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_';
  });
}

}  // namespace

std::string store_path(const char *uri) {
  const std::string_view text = uri != nullptr ? uri : "";
  if (text.size() > uri_limit) return "";
  for (const Alias &alias : aliases) {
    if (!text.starts_with(alias.scheme)) continue;
    const std::string_view name = text.substr(alias.scheme.size());
    if (!is_store_name(name)) return "";
    return paths().state + "/" + std::string(alias.file_prefix) + std::string(name) + ".mdb";
  }
  return "";
}

bool store_exists(const char *uri) {
  struct stat found {};
  const std::string path = store_path(uri);
  return !path.empty() && lstat(path.c_str(), &found) == 0;
}

}  // namespace host
