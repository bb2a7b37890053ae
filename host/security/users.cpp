// SPDX-License-Identifier: Apache-2.0
#include "host/security/users.h"

#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <ctime>
#include <memory>
#include <unordered_set>
#include <vector>

#include "host/files/close_file.h"

namespace host {

namespace {

constexpr std::size_t longest_name = 31;             // what a 32-byte field holds with its terminator
constexpr std::size_t first_buffer = 1024;           // of a look-up; grown while the name service asks for more
constexpr std::size_t largest_buffer = 1024 * 1024;  // no user's record is that large

const char *local_file = "/etc/passwd";

class LocalUsers {
 public:
  bool has(const std::string &name) {
    if (!is_read()) read();
    return names_.contains(name);
  }

 private:
  bool is_read() const {
    struct stat now = {};
    return path_ == local_file && ::stat(local_file, &now) == 0 && same(now, read_);
  }

  // Two writes within one tick of the file system's clock have the same time stamp. So when the file was written just
  // now, the names are read again the next time.
  void read() {
    path_.clear();
    names_.clear();
    const std::unique_ptr<FILE, CloseFile> file(std::fopen(local_file, "re"));
    if (!file || ::fstat(::fileno(file.get()), &read_) != 0) return;
    while (const passwd *entry = ::fgetpwent(file.get()))
      names_.insert(entry->pw_name);
    if (::time(nullptr) > read_.st_mtim.tv_sec + 1) path_ = local_file;
  }

  static bool same(const struct stat &now, const struct stat &then) {
    return now.st_ino == then.st_ino && now.st_dev == then.st_dev && now.st_size == then.st_size &&
           now.st_mtim.tv_sec == then.st_mtim.tv_sec && now.st_mtim.tv_nsec == then.st_mtim.tv_nsec;
  }

  std::string path_;
  struct stat read_ = {};
  std::unordered_set<std::string> names_;
};

std::optional<User> to_user(const passwd &entry) {
  if (!is_user_name(entry.pw_name)) return std::nullopt;
  return User{entry.pw_uid, entry.pw_gid, entry.pw_name, entry.pw_dir, entry.pw_shell};
}

template <typename Lookup>
std::optional<User> look_up(Lookup lookup) {
  for (std::size_t size = first_buffer; size <= largest_buffer; size *= 4) {
    std::vector<char> buffer(size);
    passwd entry = {};
    passwd *found = nullptr;
    int error = lookup(&entry, buffer.data(), buffer.size(), &found);
    if (error == EINTR) error = lookup(&entry, buffer.data(), buffer.size(), &found);
    if (error == ERANGE) continue;
    return error == 0 && found != nullptr ? to_user(*found) : std::nullopt;
  }
  return std::nullopt;
}

bool is_digit_of(char c, bool hexadecimal) {
  if (c >= '0' && c <= '9') return true;
  return hexadecimal && ((c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F'));
}

// Decimal, octal and hexadecimal: what tools would take for a uid. One with a sign is no name either way.
bool is_number(std::string name) {
  const bool hexadecimal = name.starts_with("0x") || name.starts_with("0X");
  if (hexadecimal) name.erase(0, 2);
  return std::all_of(name.begin(), name.end(), [&](char c) { return is_digit_of(c, hexadecimal); });
}

// No user name has blanks, control characters, or the separators of the password file and of paths.
bool is_not_in_names(char c) {
  return static_cast<unsigned char>(c) <= ' ' || c == 0x7f || c == ':' || c == '/';
}

}  // namespace

bool is_user_name(const std::string &name) {
  if (name.empty() || name.size() > longest_name || is_number(name)) return false;
  return name[0] != '+' && name[0] != '-' && std::none_of(name.begin(), name.end(), is_not_in_names);
}

void use_local_users_file(const char *path) {
  local_file = path;
}

std::optional<User> user_by_name(const std::string &name) {
  if (!is_user_name(name)) return std::nullopt;
  auto user = look_up([&](passwd *entry, char *buffer, std::size_t size, passwd **found) {
    return ::getpwnam_r(name.c_str(), entry, buffer, size, found);
  });
  // Some name services fold case or strip a domain: only the very name asked for is that user.
  return user && user->name == name ? user : std::nullopt;
}

std::optional<User> user_by_uid(uid_t uid) {
  return look_up([uid](passwd *entry, char *buffer, std::size_t size, passwd **found) {
    return ::getpwuid_r(uid, entry, buffer, size, found);
  });
}

// Called at each run, so the names are cached until the file is replaced or written.
bool user_is_local(const std::string &name) {
  static LocalUsers users;
  return is_user_name(name) && users.has(name);
}

}  // namespace host
