// SPDX-License-Identifier: Apache-2.0
#include "service/calendar/machine_zone.h"

#include <sys/stat.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace service {
namespace {

namespace fs = std::filesystem;

constexpr char database[] = "zoneinfo/";

// Where the C library and GLib look, too.
fs::path zone_folder() {
  const char *set = std::getenv("TZDIR");
  return set == nullptr || set[0] == '\0' ? "/usr/share/zoneinfo" : set;
}

std::string contents(const fs::path &file) {
  std::ifstream stream(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

std::string name_in(const fs::path &target) {
  const std::string path = target.lexically_normal();
  const size_t at = path.rfind(database);
  return at == std::string::npos ? std::string() : path.substr(at + sizeof database - 1);
}

bool is_zone_name(const std::string &name) {
  const auto plain = [](unsigned char c) { return c > ' ' && c < 0x7f && c != ':'; };
  return !name.empty() && name[0] != '/' && std::all_of(name.begin(), name.end(), plain);
}

// /etc/timezone may be out of date: its name counts only if that zone's file has the same content as /etc/localtime.
std::string name_of_copy(const fs::path &localtime, const fs::path &timezone) {
  std::string name = contents(timezone);
  name.erase(std::find(name.begin(), name.end(), '\n'), name.end());
  if (!is_zone_name(name)) return {};
  const std::string zone = contents(zone_folder() / name);
  return !zone.empty() && zone == contents(localtime) ? name : std::string();
}

void add_with_targets(fs::path file, std::vector<std::string> *files) {
  constexpr int longest_chain = 8;
  std::error_code ignored;
  for (int links = 0; links < longest_chain; links++) {
    files->push_back(file);
    if (!fs::is_symlink(file, ignored)) return;
    file = (file.parent_path() / fs::read_symlink(file, ignored)).lexically_normal();
  }
}

std::string identity_of(const std::string &file) {
  struct stat status = {};
  if (lstat(file.c_str(), &status) != 0) return "none;";
  const auto number = [](auto value) { return std::to_string(value) + ","; };
  return number(status.st_dev) + number(status.st_ino) + number(status.st_size) + number(status.st_mtim.tv_sec) +
         number(status.st_mtim.tv_nsec) + number(status.st_ctim.tv_sec) + number(status.st_ctim.tv_nsec) + ";";
}

}  // namespace

std::string machine_zone(const std::string &etc) {
  const fs::path localtime = fs::path(etc) / "localtime";
  std::error_code error;
  if (!fs::exists(localtime, error)) return "UTC";
  std::string name;
  if (fs::is_symlink(localtime, error)) name = name_in(localtime.parent_path() / fs::read_symlink(localtime, error));
  if (!is_zone_name(name)) name = name_of_copy(localtime, fs::path(etc) / "timezone");
  return is_zone_name(name) ? name : ":" + localtime.string();
}

std::vector<std::string> files_of_zone(const std::string &identifier) {
  const std::string name = identifier.substr(identifier.starts_with(':') ? 1 : 0);
  const fs::path file = zone_folder() / name;  // if the name is absolute, operator/ gives it alone
  std::error_code ignored;
  std::vector<std::string> files;
  if (!name.empty() && fs::is_regular_file(file, ignored)) add_with_targets(file, &files);
  return files;
}

std::vector<std::string> files_of_machine_zone(const std::string &etc) {
  std::vector<std::string> files = {etc + "/timezone"};
  add_with_targets(fs::path(etc) / "localtime", &files);
  return files;
}

std::string identity_of(const std::vector<std::string> &files) {
  std::string identity;
  for (const std::string &file : files)
    identity += identity_of(file);
  return identity;
}

}  // namespace service
