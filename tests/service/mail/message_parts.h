// SPDX-License-Identifier: Apache-2.0
// A composed message taken apart.
#pragma once

#include <glib.h>

#include <string>
#include <vector>

namespace service {

inline std::string decoded(const std::string &base64) {
  gsize size = 0;
  guchar *bytes = g_base64_decode(base64.c_str(), &size);
  std::string text(reinterpret_cast<char *>(bytes), size);
  g_free(bytes);
  return text;
}

// The parts' contents, in order.
inline std::vector<std::string> parts_of(const std::string &message) {
  std::vector<std::string> parts;
  for (size_t at = message.find("--=_schedcli_part\r\n"); at != std::string::npos;) {
    const size_t begin = message.find("\r\n\r\n", at) + 4;
    const size_t end = message.find("--=_schedcli_part", begin);
    parts.push_back(decoded(message.substr(begin, end - begin)));
    at = message.compare(end, 19, "--=_schedcli_part\r\n") == 0 ? end : std::string::npos;
  }
  return parts;
}

}  // namespace service
