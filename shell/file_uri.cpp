// SPDX-License-Identifier: Apache-2.0
#include "shell/file_uri.h"

#include "host/files/uri.h"

namespace shell {

std::shared_ptr<const void> parse_file_uri(const std::string &text, std::string *error) {
  const std::optional<host::FileUri> uri = host::parse_file_uri(text, error);
  return uri ? std::make_shared<const host::FileUri>(*uri) : nullptr;
}

}  // namespace shell
