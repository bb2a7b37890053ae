// SPDX-License-Identifier: Apache-2.0
// A platform for the fuzz targets: silent, without bookkeeping that slows a run, fed from the input.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>
#include <utility>

namespace fuzz {

struct Platform {
  std::deque<std::string> replies;                          // of cmi_req_resp and cmi_parse_response, one each
  bool keeps_length_word = false;                           // cmi_req_resp tells no length
  std::deque<std::pair<std::string, std::string>> records;  // of the one store, in the order of the walk
  size_t generated = 0;                                     // bytes handed to the configuration manager
};

extern Platform platform;

// Back to load time: the library's globals, and all memory of the tracker, what is never freed on purpose included.
void reset();

// Takes the input apart: lengths are little-endian, what is missing at the end is empty.
class Input {
 public:
  Input(const uint8_t *data, size_t size) : data_(data), left_(size) {}
  bool empty() const { return left_ == 0; }
  uint8_t byte();
  std::string bytes(size_t length);
  std::string rest() { return bytes(left_); }
  std::string sized_by_one_byte() { return bytes(byte()); }
  std::string sized_by_two_bytes();

 private:
  const uint8_t *data_;
  size_t left_;
};

}  // namespace fuzz
