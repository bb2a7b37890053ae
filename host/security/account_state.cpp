// SPDX-License-Identifier: Apache-2.0
#include "host/security/account_state.h"

#include <shadow.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string_view>

#include "host/files/close_file.h"

namespace host {
namespace {

constexpr time_t day_s = 24 * 3600;

const char *shadow_file = "/etc/shadow";

// Each run reads this file. The C library's own reader of it asks the kernel for its position twice for every line.
class Lines {
 public:
  explicit Lines(const char *path) : file_(std::fopen(path, "re")) {}
  ~Lines() { std::free(line_); }
  Lines(const Lines &) = delete;
  Lines &operator=(const Lines &) = delete;

  const char *next() { return file_ && ::getline(&line_, &room_, file_.get()) != -1 ? line_ : nullptr; }

 private:
  std::unique_ptr<FILE, CloseFile> file_;
  char *line_ = nullptr;
  std::size_t room_ = 0;
};

bool begins_with_field(std::string_view line, std::string_view field) {
  return line.starts_with(field) && line.substr(field.size()).starts_with(':');
}

// Locking puts '!' before the hash. Without a hash behind it there never was a password, which is how accounts of
// services and accounts with keys alone are made.
bool is_locked(std::string_view password) {
  const size_t mark = password.find_first_not_of('!');
  return mark != 0 && mark != password.npos && password[mark] != '*';
}

bool has_expired(const spwd &entry, time_t now) {
  return entry.sp_expire >= 0 && now / day_s >= entry.sp_expire;
}

}  // namespace

std::optional<std::string> why_account_is_closed(const std::string &user, time_t now) {
  Lines lines(shadow_file);
  while (const char *line = lines.next()) {
    if (!begins_with_field(line, user)) continue;
    const spwd *entry = ::sgetspent(line);
    if (entry == nullptr) continue;
    if (is_locked(entry->sp_pwdp)) return "its account is locked";
    if (has_expired(*entry, now)) return "its account has expired";
    return std::nullopt;
  }
  return std::nullopt;
}

void use_shadow_file(const char *path) {
  shadow_file = path;
}

}  // namespace host
