// SPDX-License-Identifier: Apache-2.0
#include "service/calendar/zone_file.h"

#include <arpa/inet.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace service {
namespace {

// RFC 9636: a header and a block with times of 4 bytes; from version 2 on another header and block with times of 8
// bytes, and a line with a rule.
struct Header {
  char magic[4], version, reserved[15];
  uint32_t ut_flags, standard_flags, leap_seconds, times, types, characters;
};
static_assert(sizeof(Header) == 44);

bool take_header(std::string_view *file, Header *header) {
  if (file->size() < sizeof *header) return false;
  std::memcpy(header, file->data(), sizeof *header);
  for (uint32_t *count : {&header->ut_flags, &header->standard_flags, &header->leap_seconds, &header->times,
                          &header->types, &header->characters})
    *count = ntohl(*count);
  file->remove_prefix(sizeof *header);
  return std::memcmp(header->magic, "TZif", 4) == 0 && header->types > 0;
}

bool take_block(std::string_view *file, const Header &header, uint32_t time_size) {
  const uint64_t times = uint64_t{header.times} * time_size;
  const uint64_t size = times + header.times + header.types * uint64_t{6} + header.characters +
                        header.leap_seconds * (uint64_t{time_size} + 4) + header.standard_flags + header.ut_flags;
  if (file->size() < size) return false;
  const std::string_view types = file->substr(static_cast<size_t>(times), header.times);
  file->remove_prefix(static_cast<size_t>(size));
  return std::all_of(types.begin(), types.end(),
                     [&](char type) { return static_cast<unsigned char>(type) < header.types; });
}

}  // namespace

bool is_whole_zone_file(const std::string &contents) {
  std::string_view file = contents;
  Header header;
  if (!take_header(&file, &header) || !take_block(&file, header, 4)) return false;
  if (header.version == '\0') return file.empty();
  if (!take_header(&file, &header) || !take_block(&file, header, 8)) return false;
  return file.size() >= 2 && file.front() == '\n' && file.back() == '\n';
}

}  // namespace service
