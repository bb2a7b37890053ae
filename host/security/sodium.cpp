// SPDX-License-Identifier: Apache-2.0
#include "host/security/sodium.h"

#include <dlfcn.h>
#include <syslog.h>

#include <optional>

#include "host/security/symbol.h"
#include "platform/syslog.h"

namespace host {

namespace {

std::optional<Sodium> load() {
  void *library = dlopen("libsodium.so.23", RTLD_NOW | RTLD_LOCAL);
  decltype(&sodium_init) begin = nullptr;
  Sodium found;
  if (library != nullptr && find_symbol(library, "sodium_init", &begin) &&
      find_symbol(library, "crypto_aead_xchacha20poly1305_ietf_encrypt", &found.encrypt) &&
      find_symbol(library, "crypto_aead_xchacha20poly1305_ietf_decrypt", &found.decrypt) &&
      find_symbol(library, "sodium_bin2base64", &found.to_base64) &&
      find_symbol(library, "sodium_base642bin", &found.from_base64) && find_symbol(library, "sodium_pad", &found.pad) &&
      find_symbol(library, "sodium_unpad", &found.unpad) && begin() >= 0)
    return found;
  const char *why = dlerror();
  tarn_syslog(LOG_ERR, "passwords cannot be sealed or opened: %s", why != nullptr ? why : "libsodium.so.23 refuses");
  return std::nullopt;
}

}  // namespace

const Sodium *sodium() {
  static std::optional<Sodium> loaded;
  if (!loaded) loaded = load();  // tried again after a failure: it may have been installed since
  return loaded ? &*loaded : nullptr;
}

}  // namespace host
