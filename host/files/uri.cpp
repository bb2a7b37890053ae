// SPDX-License-Identifier: Apache-2.0
#include "host/files/uri.h"

#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>

#include "host/files/file_descriptor.h"
#include "host/files/paths.h"
#include "host/status.h"
#include "platform/uri.h"

namespace host {
namespace {

struct Schema {
  std::string_view scheme;
  std::string Paths::*base;
  const char *directory;
};

constexpr Schema schemas[] = {
    {"flash:", &Paths::state, "/flash"},
    {"volatile:", &Paths::run, "/volatile"},
};

std::string root_of(const Schema &schema) {
  return paths().*schema.base + schema.directory;
}

const Schema *schema_of(std::string_view text) {
  const auto *found =
      std::ranges::find_if(schemas, [text](const Schema &each) { return text.starts_with(each.scheme); });
  return found == std::end(schemas) ? nullptr : found;
}

// Letters, digits and those signs that have no special meaning to shells and other programs.
bool is_name_character(char c) {
  constexpr std::string_view signs = "._-+@%,/";
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
         signs.find(c) != std::string_view::npos;
}

bool has_bad_component(std::string_view name) {
  for (std::size_t from = 0; from <= name.size();) {
    const std::size_t to = std::min(name.find('/', from), name.size());
    const std::string_view component = name.substr(from, to - from);
    if (component.empty() || component == "." || component == "..") return true;
    from = to + 1;
  }
  return false;
}

Error refused(std::string_view text, const char *reason) {
  return {err_bad_value, std::string(text) + ": " + reason};
}

// The roots are below private directories, so that only the service's own user can put links there.
bool leads_out(const std::string &root, const std::string &name) {
  const FileDescriptor directory(open(root.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
  if (!directory) return false;
  struct open_how how {};
  how.flags = O_PATH | O_CLOEXEC;
  how.resolve = RESOLVE_BENEATH | RESOLVE_NO_SYMLINKS | RESOLVE_NO_MAGICLINKS;
  const FileDescriptor file(static_cast<int>(syscall(SYS_openat2, directory.get(), name.c_str(), &how, sizeof how)));
  return !file && (errno == ELOOP || errno == EXDEV);
}

int give(char *text, uint32_t size, const std::string &value) {
  if (text == nullptr || size == 0) return -1;
  const bool fits = !value.empty() && value.size() < size;
  snprintf(text, size, "%s", fits ? value.c_str() : "");
  return fits ? static_cast<int>(value.size()) : -1;
}

}  // namespace

Result<FileUri> parse_file_uri(std::string_view text) {
  const Schema *schema = schema_of(text);
  if (schema == nullptr) return refused(text, "is no file; name it flash:NAME or volatile:NAME");
  std::string_view name = text.substr(schema->scheme.size());
  if (name.starts_with('/')) name.remove_prefix(1);
  if (name.empty()) return refused(text, "names no file");
  if (!std::ranges::all_of(name, is_name_character)) {
    return refused(text, "has a character that a file's name cannot have here");
  }
  if (has_bad_component(name)) return refused(text, "has an empty part, \".\" or \"..\" in it");
  FileUri uri{std::string(schema->scheme), std::string(name)};
  if (file_uri_text(uri).size() >= file_path_size || root_of(*schema).size() + 1 + name.size() >= file_path_size) {
    return refused(text, "is too long");
  }
  if (leads_out(root_of(*schema), uri.name)) return refused(text, "goes through a symbolic link");
  return uri;
}

std::string file_uri_text(const FileUri &uri) {
  return uri.scheme + uri.name;
}

std::string file_uri_path(const FileUri &uri) {
  const auto parsed = parse_file_uri(file_uri_text(uri));
  return parsed ? root_of(*schema_of(uri.scheme)) + "/" + parsed->name : "";
}

}  // namespace host

extern "C" {

int uri_map_targetfs_path_get(const void *uri, char *path, uint32_t size) {
  const auto *file = static_cast<const host::FileUri *>(uri);
  return host::give(path, size, file != nullptr ? host::file_uri_path(*file) : "") < 0 ? -1 : 0;
}

int snprintf_uri_len(char *text, uint32_t size, const void *uri) {
  const auto *file = static_cast<const host::FileUri *>(uri);
  return host::give(text, size, file != nullptr ? host::file_uri_text(*file) : "");
}

}  // extern "C"
