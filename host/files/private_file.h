// SPDX-License-Identifier: Apache-2.0
// Small files that only their owner may read, replaced whole or not at all.
#pragma once

#include <cstddef>
#include <span>
#include <string>

namespace host {

enum class FileResult { done, absent, failed };

// The whole of a file of at most `limit` bytes; refuses what is not a regular file of this user's alone. `error` then
// says what, where and what to do.
FileResult read_private_file(const std::string &path, std::size_t limit, std::string *content, std::string *error);

// Durable when it returns done; after a failure or a crash the old content stands. Never `absent`.
FileResult write_private_file(const std::string &path, std::span<const char> content, std::string *error);

}  // namespace host
