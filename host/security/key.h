// SPDX-License-Identifier: Apache-2.0
// The key that seals the scheduler passwords: a file in the state directory, read for each use and wiped after it.
#pragma once

#include <sodium.h>

#include <array>
#include <cstdint>
#include <string>

namespace host {

class SecurityKey {
 public:
  SecurityKey() = default;
  SecurityKey(const SecurityKey &) = delete;
  SecurityKey &operator=(const SecurityKey &) = delete;
  ~SecurityKey() { sodium_memzero(bytes_.data(), bytes_.size()); }

  uint32_t load();  // 0, err_io or err_store_foreign; a line in the system log says why
  const unsigned char *data() const { return bytes_.data(); }

 private:
  std::array<unsigned char, crypto_aead_xchacha20poly1305_ietf_KEYBYTES> bytes_ = {};
};

// Makes a new key when there is none. Not while passwords are stored: a lost key is to be restored, not replaced.
uint32_t provide_security_key(bool passwords_stored);

std::string security_key_path();

}  // namespace host
