// SPDX-License-Identifier: Apache-2.0
// The key that seals the scheduler passwords: a file in the state directory, read for each use and wiped after it.
#pragma once

#include <array>
#include <cstddef>
#include <cstring>
#include <string>

#include "host/result.h"

namespace host {

inline constexpr std::size_t security_key_size = 32;

class SecurityKey {
 public:
  SecurityKey() = default;
  SecurityKey(const SecurityKey &) = delete;
  SecurityKey &operator=(const SecurityKey &) = delete;
  ~SecurityKey() { explicit_bzero(bytes_.data(), bytes_.size()); }

  Result<void> load();  // err_io or err_store_unusable
  const unsigned char *data() const { return bytes_.data(); }

 private:
  std::array<unsigned char, security_key_size> bytes_ = {};
};

// Creates a key when there is none. An error while passwords are stored: a lost key is to be restored from a backup, as
// a new one would not open them.
Result<void> provide_security_key(bool passwords_stored);

std::string security_key_path();

}  // namespace host
