// SPDX-License-Identifier: Apache-2.0
#include "host/security/key.h"

#include <syslog.h>

#include <algorithm>

#include "host/files/paths.h"
#include "host/files/private_file.h"
#include "host/status.h"
#include "platform/syslog.h"

namespace host {

namespace {

uint32_t report(uint32_t status, const std::string &reason) {
  tarn_syslog(LOG_ERR, "%s", reason.c_str());
  return status;
}

uint32_t make_key() {
  std::array<char, crypto_aead_xchacha20poly1305_ietf_KEYBYTES> key;
  randombytes_buf(key.data(), key.size());
  std::string error;
  const FileResult result = write_private_file(security_key_path(), key, &error);
  sodium_memzero(key.data(), key.size());
  return result == FileResult::done ? 0 : report(err_io, error);
}

}  // namespace

std::string security_key_path() {
  return paths().state + "/security.key";
}

uint32_t SecurityKey::load() {
  std::string content, error;
  const std::string path = security_key_path();
  switch (read_private_file(path, bytes_.size(), &content, &error)) {
    case FileResult::absent:
      return report(err_io, path + ": the key of the stored passwords is missing; restore it, or remove the passwords");
    case FileResult::failed:
      return report(err_io, error);
    case FileResult::done:
      break;
  }
  const bool fits = content.size() == bytes_.size();
  if (fits) std::copy(content.begin(), content.end(), bytes_.begin());
  sodium_memzero(content.data(), content.size());
  return fits ? 0 : report(err_store_foreign, path + ": is no key; restore it from a backup");
}

uint32_t provide_security_key(bool passwords_stored) {
  std::string content, error;
  const std::string path = security_key_path();
  const FileResult result = read_private_file(path, crypto_aead_xchacha20poly1305_ietf_KEYBYTES, &content, &error);
  sodium_memzero(content.data(), content.size());
  if (result == FileResult::absent && !passwords_stored) return make_key();
  SecurityKey key;
  return key.load();
}

}  // namespace host
