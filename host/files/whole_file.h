// SPDX-License-Identifier: Apache-2.0
// Files that are replaced atomically, and reads and writes that are complete or fail.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

#include "host/files/file_descriptor.h"
#include "host/result.h"

namespace host {

// Creates a file of `size` bytes, with its space reserved and for its owner alone: `head`, then zeros. Replaces a file
// of that name. Durable on success; after a failure or a crash the old file is unchanged.
Result<FileDescriptor> create_whole_file(const std::string &path, uint32_t size, std::span<const std::byte> head);

// The same for a file that consists of `content`.
Result<void> write_whole_file(const std::string &path, std::span<const char> content);

// Renames and syncs the directory. False: errno says why.
bool rename_file(const std::string &from, const std::string &to);

// The rest of a file or pipe. Stops behind `limit` bytes, with one more than these.
Result<std::string> read_to_end(int file, size_t limit);

std::string first_line(const std::string &path);  // without its end; empty if it cannot be read

bool write_at(int file, std::span<const std::byte> bytes, uint64_t offset);
size_t read_at(int file, std::span<std::byte> bytes, uint64_t offset);  // bytes read; fewer at the end

}  // namespace host
