// SPDX-License-Identifier: Apache-2.0
#include "host/security/key.h"

#include <sys/random.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "host/files/paths.h"
#include "host/files/private_file.h"
#include "host/files/whole_file.h"
#include "host/status.h"

namespace host {

namespace {

Result<void> make_key() {
  std::array<char, security_key_size> key;
  if (getrandom(key.data(), key.size(), 0) != ssize_t{security_key_size})
    return Error{err_io, "no random bytes for the key of the stored passwords"};
  Result<void> written = write_whole_file(security_key_path(), key);
  explicit_bzero(key.data(), key.size());
  return written;
}

}  // namespace

std::string security_key_path() {
  return paths().state + "/security.key";
}

Result<void> SecurityKey::load() {
  const std::string path = security_key_path();
  Result<std::optional<std::string>> read = read_private_file(path, bytes_.size());
  if (!read) return read.error();
  if (!*read)
    return Error{err_io, path + ": the key of the stored passwords is missing; restore it, or remove the passwords"};
  std::string &content = **read;
  const bool fits = content.size() == bytes_.size();
  if (fits) std::copy(content.begin(), content.end(), bytes_.begin());
  explicit_bzero(content.data(), content.size());
  if (!fits) return Error{err_store_unusable, path + ": is no key; restore it from a backup"};
  return {};
}

Result<void> provide_security_key(bool passwords_stored) {
  const bool absent = ::access(security_key_path().c_str(), F_OK) != 0 && errno == ENOENT;
  if (absent && !passwords_stored) return make_key();
  SecurityKey key;
  return key.load();
}

}  // namespace host
