// SPDX-License-Identifier: Apache-2.0
#include "service/joblog/record_window.h"

#include <algorithm>

namespace service {

std::optional<std::span<const std::byte>> RecordWindow::held(const RingFile &file, const RingFile::Place &place) const {
  if (place.offset < at_ || place.offset >= at_ + bytes_.size()) return std::nullopt;
  return file.body_of(place, std::span<const std::byte>(bytes_).subspan(place.offset - at_));
}

std::optional<std::span<const std::byte>> RecordWindow::body(const RingFile &file, const RingFile::Place &place) {
  if (const auto body = held(file, place)) return body;
  at_ = place.offset;
  bytes_.resize(std::max(size, RingFile::record_header_size + place.length));
  bytes_.resize(file.read_bytes(bytes_, place.offset));
  bytes_read_ += bytes_.size();
  return held(file, place);
}

}  // namespace service
