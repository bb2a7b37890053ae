// SPDX-License-Identifier: Apache-2.0
// A circular file of records that survives a crash at any byte. Each record carries checksums under a key that is drawn
// for the file and known to nobody else, so that nothing that is written into a record can pass for one.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "host/files/file_descriptor.h"

namespace service {

class RingFile {
 public:
  struct Place {
    uint64_t sequence;
    uint32_t offset;
    uint32_t length;  // of the body
  };
  using Body = std::vector<std::byte>;

  // Makes the file, whole and on disk, in place of a file of that name. Null: `error` says what failed.
  static std::shared_ptr<RingFile> create(const std::string &path, uint32_t size, uint32_t generation,
                                          std::string *error);
  // Null: absent, or not such a file.
  static std::shared_ptr<RingFile> open(const std::string &path, std::string *error);

  // True: the record is on disk. The oldest records make room. False: nothing was added; older records may be lost.
  bool append(std::span<const std::byte> body, bool durable = true);
  bool sync();

  std::optional<Body> read(const Place &place) const;          // nullopt: overwritten since
  const std::deque<Place> &places() const { return places_; }  // oldest first

  uint32_t largest_body() const;  // half of the file: one output does not take all of it
  uint32_t size() const { return size_; }
  uint32_t generation() const { return generation_; }
  uint32_t read_offset() const { return places_.empty() ? write_offset_ : places_.front().offset; }
  uint32_t write_offset() const { return write_offset_; }

  static constexpr size_t header_size = 64;

 private:
  struct Key {
    uint8_t bytes[16];
  };
  struct FileHeader;
  struct RecordHeader;

  RingFile(host::FileDescriptor file, const FileHeader &header);

  void recover();
  std::optional<RecordHeader> header_at(std::span<const std::byte> image, size_t offset) const;
  RecordHeader make_header(std::span<const std::byte> body, uint32_t offset) const;
  uint64_t checksum_of(const RecordHeader &header, uint32_t offset) const;
  uint64_t checksum_of(std::span<const std::byte> body) const;
  uint32_t make_room(uint32_t length);
  bool fail();

  host::FileDescriptor file_;
  Key key_ = {};
  uint32_t size_ = 0, generation_ = 0, write_offset_ = 0;
  uint64_t next_sequence_ = 1;
  std::deque<Place> places_;
};

}  // namespace service
