// SPDX-License-Identifier: Apache-2.0
// libsodium, loaded when the first password is sealed or opened: a service without remote users needs no memory for it.
#pragma once

#include <sodium.h>

namespace host {

struct Sodium {
  decltype(&crypto_aead_xchacha20poly1305_ietf_encrypt) encrypt = nullptr;
  decltype(&crypto_aead_xchacha20poly1305_ietf_decrypt) decrypt = nullptr;
  decltype(&sodium_bin2base64) to_base64 = nullptr;
  decltype(&sodium_base642bin) from_base64 = nullptr;
  decltype(&sodium_pad) pad = nullptr;
  decltype(&sodium_unpad) unpad = nullptr;
};

// Null: it cannot be loaded; a line in the system log says why.
const Sodium *sodium();

}  // namespace host
