// SPDX-License-Identifier: Apache-2.0
#include "host/security/seal.h"

#include <sys/random.h>

#include <algorithm>

#include "host/errors.h"
#include "host/security/key.h"
#include "host/security/sodium.h"
#include "host/status.h"

namespace host {

namespace {

static_assert(security_key_size == crypto_aead_xchacha20poly1305_ietf_KEYBYTES);
constexpr char form = '1';  // XChaCha20-Poly1305, random nonce, URL-safe base64
constexpr int base64 = sodium_base64_VARIANT_URLSAFE_NO_PADDING;
constexpr std::size_t nonce_size = crypto_aead_xchacha20poly1305_ietf_NPUBBYTES;
constexpr std::size_t padded_size = password_limit + 1;
constexpr std::size_t box_size = nonce_size + padded_size + crypto_aead_xchacha20poly1305_ietf_ABYTES;
static_assert(sodium_base64_ENCODED_LEN(box_size, base64) ==
              sealed_length);  // the encoding's NUL makes room for `form`

using Box = std::array<unsigned char, box_size>;

// Additional authenticated data: a sealed password cannot be opened for another user or another purpose.
std::string purpose_of(const std::string &user) {
  return "schedcli scheduler password of " + user;
}

Error no_library() {
  return {err_io, "libsodium cannot be loaded"};
}

const unsigned char *bytes(const std::string &text) {
  return reinterpret_cast<const unsigned char *>(text.data());
}

std::string to_text(const Sodium &library, const Box &box) {
  std::array<char, sealed_length> encoded;
  library.to_base64(encoded.data(), encoded.size(), box.data(), box.size(), base64);
  return form + std::string(encoded.data());
}

bool to_box(const Sodium &library, const std::string &text, Box *box) {
  if (text.size() != sealed_length || text[0] != form) return false;
  std::size_t size = 0;
  return library.from_base64(box->data(), box->size(), text.data() + 1, text.size() - 1, nullptr, &size, nullptr,
                             base64) == 0 &&
         size == box->size();
}

}  // namespace

Result<std::string> seal_password(const std::string &user, std::string_view clear) {
  if (clear.empty()) return error_of(err_bad_value);
  if (clear.size() > password_limit) return error_of(err_password_too_long);
  const Sodium *const library = sodium();
  if (library == nullptr) return no_library();
  SecurityKey key;
  if (const Result<void> loaded = key.load(); !loaded) return loaded.error();
  ClearText padded;
  std::copy(clear.begin(), clear.end(), padded.bytes.begin());
  std::size_t size = 0;
  library->pad(&size, padded.bytes.data(), clear.size(), padded_size, padded_size);
  Box box;
  if (getrandom(box.data(), nonce_size, 0) != ssize_t{nonce_size})
    return Error{err_io, "no random bytes to seal a password with"};
  const std::string purpose = purpose_of(user);
  library->encrypt(box.data() + nonce_size, nullptr, padded.bytes.data(), padded_size, bytes(purpose), purpose.size(),
                   nullptr, box.data(), key.data());
  return to_text(*library, box);
}

Result<void> open_password(const std::string &user, const std::string &sealed, ClearText *clear) {
  const Sodium *const library = sodium();
  if (library == nullptr) return no_library();
  Box box;
  if (!to_box(*library, sealed, &box)) return error_of(err_bad_value);
  SecurityKey key;
  if (const Result<void> loaded = key.load(); !loaded) return loaded.error();
  const std::string purpose = purpose_of(user);
  if (library->decrypt(clear->bytes.data(), nullptr, nullptr, box.data() + nonce_size, box.size() - nonce_size,
                       bytes(purpose), purpose.size(), box.data(), key.data()) != 0)
    return error_of(err_bad_value);
  std::size_t size = 0;
  if (library->unpad(&size, clear->bytes.data(), padded_size, padded_size) != 0) return error_of(err_bad_value);
  clear->bytes[size] = 0;  // ends the text where the padding begins
  return {};
}

}  // namespace host
