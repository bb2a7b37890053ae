// SPDX-License-Identifier: Apache-2.0
// Clear passwords in memory, wiped as soon as they are not needed.
#pragma once

#include <sys/prctl.h>

#include <array>
#include <cstddef>
#include <cstring>
#include <string_view>

namespace host {

// Sealed texts all have the same length, so as not to reveal the password's. This is the longest password that fits.
inline constexpr std::size_t password_limit = 53;

class ClearText {  // wiped by the destructor
 public:
  ClearText() = default;
  ClearText(const ClearText &) = delete;
  ClearText &operator=(const ClearText &) = delete;
  ~ClearText() { explicit_bzero(bytes.data(), bytes.size()); }

  const char *c_str() const { return reinterpret_cast<const char *>(bytes.data()); }

  std::array<unsigned char, password_limit + 1> bytes = {};
};

// While one lives, this process writes no core file and cannot be traced.
class NoCore {
 public:
  NoCore() : before_(::prctl(PR_GET_DUMPABLE)) { ::prctl(PR_SET_DUMPABLE, 0); }
  NoCore(const NoCore &) = delete;
  NoCore &operator=(const NoCore &) = delete;
  ~NoCore() { ::prctl(PR_SET_DUMPABLE, before_); }

 private:
  int before_;
};

}  // namespace host
