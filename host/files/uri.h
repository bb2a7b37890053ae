// SPDX-License-Identifier: Apache-2.0
// Files that an operator names by a URI. platform/uri.h takes pointers to FileUri.
#pragma once

#include <string>
#include <string_view>

#include "host/result.h"

namespace host {

inline constexpr std::size_t file_path_size = 256;  // of the records that carry a path or a URI, with its NUL

struct FileUri {
  std::string scheme;  // with its colon
  std::string name;    // below the scheme's root; never empty, never absolute, no "." or ".." in it
};

// "flash:NAME" is a permanent file, "volatile:NAME" one that a boot may remove. NAME may have directories and one
// leading slash. err_bad_value for any other text.
Result<FileUri> parse_file_uri(std::string_view text);

std::string file_uri_text(const FileUri &uri);

// The path of the file on this host, whether it exists or not. Empty when a symbolic link leads elsewhere or the path
// would not fit a record.
std::string file_uri_path(const FileUri &uri);

}  // namespace host
