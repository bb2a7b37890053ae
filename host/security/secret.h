// SPDX-License-Identifier: Apache-2.0
// Clear passwords while they are needed, and no longer.
#pragma once

#include <sys/prctl.h>

#include <array>
#include <cstddef>
#include <cstring>
#include <string_view>

namespace host {

// Sealed texts all have one length, so that a stored one does not tell its password's; this is what fits in.
inline constexpr std::size_t password_limit = 53;

class ClearText {  // wiped when it goes
 public:
  ClearText() = default;
  ClearText(const ClearText &) = delete;
  ClearText &operator=(const ClearText &) = delete;
  ~ClearText() { explicit_bzero(bytes.data(), bytes.size()); }

  const char *c_str() const { return reinterpret_cast<const char *>(bytes.data()); }

  std::array<unsigned char, password_limit + 1> bytes = {};
};

// No core file and no tracer sees this process's memory meanwhile.
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
