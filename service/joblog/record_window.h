// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <span>

#include "service/joblog/ring_file.h"

namespace service {

// Reads records in their order: many small ones with one system call, and never more of the file than one record or one
// window.
class RecordWindow {
 public:
  // The body, valid until the next call; nullopt: overwritten since. `file` is the same in each call.
  std::optional<std::span<const std::byte>> body(const RingFile &file, const RingFile::Place &place);

  size_t bytes_read() const { return bytes_read_; }

  // 1,024 calls read the largest log; small enough for many readers to have one each.
  static constexpr size_t size = 16 * 1024;

 private:
  std::optional<std::span<const std::byte>> held(const RingFile &file, const RingFile::Place &place) const;

  RingFile::Body bytes_;
  size_t at_ = 0;
  size_t bytes_read_ = 0;
};

}  // namespace service
