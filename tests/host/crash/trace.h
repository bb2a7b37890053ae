// SPDX-License-Identifier: Apache-2.0
// What a process did to the files below one directory, call by call.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace crash {

enum class Call : uint32_t { open, close, write, truncate, sync, rename, unlink, acknowledge, make_directory };

struct Event {
  Call call;
  int descriptor = -1;
  uint64_t offset = 0;                                         // of a write; of a truncation the new size
  bool durable = false;                                        // a write that returned only when it was on disk
  bool creates = false, truncates = false, directory = false;  // of an open
  std::string name{}, new_name{};                              // below the directory; empty: the directory itself
  std::string data{};
};

std::vector<Event> read_trace(const std::string &path);

}  // namespace crash
