// SPDX-License-Identifier: Apache-2.0
#include "host/security/passwords.h"

#include <sstream>

#include "host/errors.h"
#include "host/files/paths.h"
#include "host/files/private_file.h"
#include "host/files/whole_file.h"
#include "host/security/seal.h"
#include "host/security/users.h"
#include "host/status.h"

namespace host {

namespace {

bool take_line(const std::string &line, SealedPasswords *passwords) {
  const std::size_t blank = line.find(' ');
  if (blank == std::string::npos || line.size() != blank + 1 + sealed_length) return false;
  const std::string name = line.substr(0, blank);
  return is_user_name(name) && passwords->emplace(name, line.substr(blank + 1)).second;
}

bool parse(const std::string &content, SealedPasswords *passwords) {
  if (!content.empty() && content.back() != '\n') return false;  // truncated
  std::istringstream lines(content);
  for (std::string line; std::getline(lines, line);)
    if (!take_line(line, passwords)) return false;
  return true;
}

}  // namespace

std::string passwords_path() {
  return paths().state + "/passwords";
}

Result<SealedPasswords> read_passwords() {
  const Result<std::optional<std::string>> content = read_private_file(passwords_path(), passwords_limit);
  if (!content) return content.error();
  SealedPasswords passwords;
  if (!*content || parse(**content, &passwords)) return passwords;
  return Error{err_store_unusable, passwords_path() + ": is damaged; restore it from a backup or remove it"};
}

Result<void> write_passwords(const SealedPasswords &passwords) {
  std::string content;
  for (const auto &[name, sealed] : passwords)
    content.append(name).append(" ").append(sealed).append("\n");
  if (content.size() > passwords_limit) return error_of(err_too_large);
  return write_whole_file(passwords_path(), content);
}

}  // namespace host
