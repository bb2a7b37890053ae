// SPDX-License-Identifier: Apache-2.0
#include "service/configuration/stored_passwords.h"

#include <unistd.h>

#include <sstream>

#include "host/files/directory.h"
#include "host/files/private_file.h"
#include "host/files/whole_file.h"
#include "host/security/seal.h"
#include "host/status.h"
#include "platform/errors.h"
#include "schedcli.h"
#include "service/configuration/history.h"

namespace service {
namespace {

constexpr std::string_view noted_end = ".passwords";

std::string path_of(uint32_t number) {
  return configuration_file(number, noted_end);
}

std::vector<PasswordLine> read_noted(uint32_t number) {
  std::vector<PasswordLine> wanted;
  const host::Result<std::optional<std::string>> text = host::read_private_file(path_of(number), host::passwords_limit);
  if (!text || !*text) return wanted;
  std::istringstream lines(**text);
  for (PasswordLine line; lines >> line.user >> line.sealed;)
    wanted.push_back(line);
  return wanted;
}

}  // namespace

host::Result<host::SealedPasswords> stored_passwords(const MayUsePassword &may_use) {
  host::Result<host::SealedPasswords> stored = host::read_passwords();
  if (stored) std::erase_if(*stored, [&](const auto &entry) { return !may_use(entry.first); });
  return stored;
}

std::vector<LineProblem> objections_to(const std::vector<PasswordLine> &wanted, const host::SealedPasswords &stored,
                                       const MayUsePassword &may_use) {
  std::vector<LineProblem> problems;
  for (const PasswordLine &line : wanted) {
    const std::string what = "the password of " + line.user + ": ";
    const auto known = stored.find(line.user);
    host::ClearText clear;
    if (!may_use(line.user))
      problems.push_back({line.line, what + syserr2str(host::err_not_permitted)});
    else if ((known == stored.end() || known->second != line.sealed) &&
             !host::open_password(line.user, line.sealed, &clear))
      problems.push_back({line.line, what + "it was not sealed for this user by this service's key"});
  }
  return problems;
}

host::SealedPasswords with_wanted(host::SealedPasswords stored, const std::vector<PasswordLine> &wanted) {
  for (const PasswordLine &line : wanted)
    stored.insert_or_assign(line.user, line.sealed);
  return stored;
}

host::Result<void> store_passwords(const std::vector<PasswordLine> &wanted) {
  host::Result<host::SealedPasswords> stored = host::read_passwords();
  if (!stored) return stored.error();
  const host::SealedPasswords all = with_wanted(*stored, wanted);
  return all == *stored ? host::Result<void>() : host::write_passwords(all);
}

host::Result<void> note_passwords(uint32_t number, const std::vector<PasswordLine> &wanted) {
  if (wanted.empty()) return {};
  std::string text;
  for (const PasswordLine &line : wanted)
    text += line.user + " " + line.sealed + "\n";
  return host::write_whole_file(path_of(number), text);
}

void forget_passwords(uint32_t number) {
  unlink(path_of(number).c_str());
}

void settle_passwords() {
  for (const uint32_t number : configuration_files(noted_end)) {
    if (is_kept(number) && !store_passwords(read_noted(number))) continue;  // the next start tries again
    forget_passwords(number);
  }
}

}  // namespace service
