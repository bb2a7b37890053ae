// SPDX-License-Identifier: Apache-2.0
#include "service/config/settings_file.h"

#include <fcntl.h>
#include <glib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <sstream>

#include "host/files/file_descriptor.h"
#include "host/files/whole_file.h"
#include "host/visible.h"
#include "service/config/keys.h"

namespace service {
namespace {

constexpr off_t file_limit = 1 << 20;  // far above what a person writes

using KeyFile = std::unique_ptr<GKeyFile, decltype(&g_key_file_unref)>;
using Text = std::unique_ptr<char, decltype(&g_free)>;

struct Entry {
  std::string group, key;
  int line;
};

struct GroupLine {
  std::string name;
  int line;
};

std::string stripped(const std::string &text) {
  const size_t first = text.find_first_not_of(" \t\r");
  return first == std::string::npos ? "" : text.substr(first, text.find_last_not_of(" \t\r") - first + 1);
}

// Values may hold escaped line ends.
std::string in_one_line(const std::string &text) {
  std::string line;
  for (const char c : host::visible(text))
    line += c == '\n' ? std::string("^J") : std::string(1, c);
  return line;
}

class Reader {
 public:
  Reader(const std::string &text, const std::string &file) : file_(file), keys_(g_key_file_new(), g_key_file_unref) {
    read_.settings.file = file;
    scan(text);
    GError *error = nullptr;
    if (read_.problems.empty() &&
        !g_key_file_load_from_data(keys_.get(), text.data(), text.size(), G_KEY_FILE_NONE, &error))
      problem(line_refused_in(text), error->message);
    g_clear_error(&error);
    if (read_.problems.empty()) take_all();
  }
  SettingsRead result() { return std::move(read_); }

 private:
  void problem(int line, const std::string &what) {
    read_.problems.push_back(file_ + (line > 0 ? ":" + std::to_string(line) : "") + ": " + in_one_line(what));
  }

  // GKeyFile reports no line numbers: the first line that it refuses alone, in a group; 0: none.
  static int line_refused_in(const std::string &text) {
    std::istringstream lines(text);
    std::string line;
    for (int number = 1; std::getline(lines, line); number++) {
      const KeyFile alone(g_key_file_new(), g_key_file_unref);
      const std::string file = "[group]\n" + line + "\n";
      if (!g_key_file_load_from_data(alone.get(), file.data(), file.size(), G_KEY_FILE_NONE, nullptr)) return number;
    }
    return 0;
  }

  // GKeyFile silently takes the last of two values of a key.
  void scan(const std::string &text) {
    if (text.find('\0') != std::string::npos) return problem(0, "holds a NUL byte; it must be a text");
    std::istringstream lines(text);
    std::string line, group;
    for (int number = 1; std::getline(lines, line); number++) {
      if (!g_utf8_validate(line.data(), static_cast<gssize>(line.size()), nullptr))
        problem(number, "is no UTF-8 text");
      else if (const auto control = host::find_control(stripped(line)); control && !stripped(line).starts_with("#"))
        problem(number, "holds " + control->shown + "; of control characters only tabs may be in it");
      else
        scan_line(stripped(line), number, &group);
    }
  }

  void scan_line(const std::string &line, int number, std::string *group) {
    if (line.empty() || line[0] == '#') return;
    const size_t equals = line.find('=');
    if (line[0] == '[' && line.back() == ']') {
      *group = line.substr(1, line.size() - 2);
      add_group(*group, number);
    } else if (equals == std::string::npos || equals == 0) {
      problem(number, "'" + line + "' is neither [group] nor key=value nor a comment that begins with '#'");
    } else if (group->empty()) {
      problem(number, "a key stands before the first [group]");
    } else {
      add_entry({*group, stripped(line.substr(0, equals)), number});
    }
  }

  void add_group(const std::string &name, int line) {
    const auto same =
        std::find_if(groups_.begin(), groups_.end(), [&](const auto &other) { return other.name == name; });
    if (same != groups_.end())
      problem(line, "[" + name + "] stands in line " + std::to_string(same->line) + " already");
    else
      groups_.push_back({name, line});
  }

  void add_entry(Entry entry) {
    const auto same = std::find_if(entries_.begin(), entries_.end(), [&](const Entry &other) {
      return other.group == entry.group && other.key == entry.key;
    });
    if (same != entries_.end())
      problem(entry.line, entry.key + " stands in line " + std::to_string(same->line) + " already");
    else
      entries_.push_back(std::move(entry));
  }

  void take_all() {
    const std::vector<Key> keys = keys_of(read_.settings);
    for (const GroupLine &group : groups_)
      if (!group.name.starts_with(class_prefix)) take_group(group, group_keys(keys, group.name));
    take_class(default_class, &read_.settings.classes.front());
    for (const GroupLine &group : groups_)
      if (group.name.starts_with(class_prefix) && group.name != default_class) add_class(group);
    std::stable_sort(read_.problems.begin(), read_.problems.end(),
                     [this](const auto &left, const auto &right) { return line_of(left) < line_of(right); });
  }

  int line_of(const std::string &text) const { return std::atoi(text.c_str() + file_.size() + 1); }

  static std::vector<Key> group_keys(const std::vector<Key> &keys, const std::string &group) {
    std::vector<Key> result;
    std::copy_if(keys.begin(), keys.end(), std::back_inserter(result),
                 [&](const Key &key) { return group == key.group; });
    return result;
  }

  void add_class(const GroupLine &group) {
    ClassSettings record = read_.settings.classes.front();
    record.name = stripped(group.name.substr(std::strlen(class_prefix)));
    if (record.name.empty()) return problem(group.line, "[" + group.name + "] has no name");
    take_class(group.name, &record);
    if (record.groups.empty())
      problem(group.line, "[" + group.name + "] names no groups; it needs a key groups=NAME;NAME");
    read_.settings.classes.push_back(std::move(record));
  }

  // The default class has no groups, so that a class that begins with its values has none either.
  void take_class(const std::string &group, ClassSettings *record) {
    std::vector<Key> keys = class_keys_of(*record);
    if (record->name == "default")
      std::erase_if(keys, [](const Key &key) { return std::strcmp(key.name, "groups") == 0; });
    take_entries(group, keys);
  }

  void take_group(const GroupLine &group, const std::vector<Key> &keys) {
    if (keys.empty()) return problem(group.line, "[" + group.name + "] is no group; there are " + group_names());
    take_entries(group.name, keys);
  }

  std::string group_names() {
    std::string names, last;
    for (const Key &key : keys_of(read_.settings))
      if (last != key.group) names += "[" + (last = key.group) + "], ";
    return names + "[class NAME]";
  }

  void take_entries(const std::string &group, const std::vector<Key> &keys) {
    for (const Entry &entry : entries_)
      if (entry.group == group) take(entry, keys);
  }

  void take(const Entry &entry, const std::vector<Key> &keys) {
    const auto key = std::find_if(keys.begin(), keys.end(), [&](const Key &each) { return entry.key == each.name; });
    if (key == keys.end()) return problem(entry.line, unknown(entry, keys));
    GError *error = nullptr;
    const Text value(g_key_file_get_string(keys_.get(), entry.group.c_str(), entry.key.c_str(), &error), g_free);
    if (value == nullptr)
      problem(entry.line, error->message);
    else if (const auto wrong = set_value(*key, stripped(value.get())))
      problem(entry.line, *wrong);
    g_clear_error(&error);
  }

  static std::string unknown(const Entry &entry, const std::vector<Key> &keys) {
    std::string names;
    for (const Key &key : keys)
      names += (names.empty() ? "" : ", ") + std::string(key.name);
    return entry.key + " is no key of [" + entry.group + "]; there are " + names;
  }

  const std::string &file_;
  KeyFile keys_;
  std::vector<GroupLine> groups_;
  std::vector<Entry> entries_;
  SettingsRead read_;
};

SettingsRead refused(const std::string &file, const std::string &what) {
  SettingsRead read;
  read.problems.push_back(file + ": " + what);
  return read;
}

std::string why_not_trusted(const struct stat &found) {
  if (!S_ISREG(found.st_mode)) return "is no file";
  if (found.st_uid != 0 && found.st_uid != geteuid())
    return "belongs to user " + std::to_string(found.st_uid) + "; give it to root or to the service's user (chown)";
  if ((found.st_mode & (S_IWGRP | S_IWOTH)) != 0) return "can be written by group or others; run chmod go-w on it";
  return found.st_size > file_limit ? "is larger than 1 MiB" : "";
}

// The environment may name the home directory of another user, where this one may not look: then there is no file.
bool is_out_of_sight(int error) {
  return error == ENOENT || error == ENOTDIR || error == EACCES;
}

}  // namespace

SettingsRead parse_settings(const std::string &text, const std::string &file) {
  return Reader(text, file).result();
}

SettingsRead read_settings(const std::string &file, bool must_exist) {
  struct stat found {};
  if (!must_exist && stat(file.c_str(), &found) != 0 && is_out_of_sight(errno)) return {};
  const host::FileDescriptor opened(open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  if (!opened || fstat(opened.get(), &found) != 0) return refused(file, std::strerror(errno));
  if (const std::string why = why_not_trusted(found); !why.empty()) return refused(file, why);
  const host::Result<std::string> text = host::read_to_end(opened.get(), static_cast<size_t>(file_limit));
  return text ? parse_settings(*text, file) : refused(file, text.error().text);
}

std::string usual_settings_file() {
  if (geteuid() == 0) return "/etc/schedcli/schedd.conf";
  const char *base = secure_getenv("XDG_CONFIG_HOME");
  if (base != nullptr && *base == '/') return std::string(base) + "/schedcli/schedd.conf";
  const char *home = secure_getenv("HOME");
  return std::string(home != nullptr ? home : "") + "/.config/schedcli/schedd.conf";
}

}  // namespace service
