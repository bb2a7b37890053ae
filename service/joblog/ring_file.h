// SPDX-License-Identifier: Apache-2.0
// A circular file of records that survives a crash at any byte. Records have checksums under a random key of the file
// that nobody else knows, so that no job's output can pass for a record.
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
#include "host/result.h"

namespace service {

class RingFile {
 public:
  struct Place {
    uint64_t sequence;
    uint32_t offset;
    uint32_t length;  // of the body
  };
  using Body = std::vector<std::byte>;

  // The file's header.
  struct Head {
    uint32_t size = 0;
    uint32_t generation = 0;
    uint64_t begun_at = 0;    // sequence of the newest outcome when the file was created: it is to hold those after it
    uint64_t cleared_at = 0;  // sequence of the newest outcome that was cleared and is not shown any more
    uint32_t version = current_version;  // of the records' bodies
  };
  static constexpr uint32_t current_version = 2;

  // Creates the file, synced, replacing a file of that name.
  static host::Result<std::shared_ptr<RingFile>> create(const std::string &path, const Head &head);
  // Fails if it is absent or not such a file. Accepts earlier versions.
  static host::Result<std::shared_ptr<RingFile>> open(const std::string &path);

  // Adds a record, which is on disk after the next sync(), in place of the oldest ones. False, with errno: nothing was
  // added, but the records that it would have overwritten are lost.
  bool append(std::span<const std::byte> body);
  bool sync();

  // Why writes no longer reach the file of that path: it was removed, truncated or replaced. Null if they do.
  const char *loss(const std::string &path) const;

  const std::deque<Place> &places() const { return places_; }  // oldest first
  std::optional<Body> read(const Place &place) const;          // nullopt: overwritten since
  // The body of the record of that place, from `record`, the bytes at its offset; nullopt if they are another record's.
  std::optional<std::span<const std::byte>> body_of(const Place &place, std::span<const std::byte> record) const;
  size_t read_bytes(std::span<std::byte> into, uint32_t offset) const;  // fewer at the end

  uint32_t largest_body() const;  // half of the file: one output does not take all of it
  const Head &head() const { return head_; }
  uint32_t read_offset() const { return places_.empty() ? write_offset_ : places_.front().offset; }
  uint32_t write_offset() const { return write_offset_; }

  static constexpr size_t header_size = 64;
  static constexpr size_t record_header_size = 40;

 private:
  struct Key {
    uint8_t bytes[16];
  };
  struct FileHeader;
  struct RecordHeader;
  class Scan;

  RingFile(host::FileDescriptor file, const FileHeader &header);

  void recover();
  RecordHeader make_header(std::span<const std::byte> body, uint32_t offset) const;
  uint64_t checksum_of(const RecordHeader &header, uint32_t offset) const;
  uint64_t checksum_of(std::span<const std::byte> body) const;
  uint32_t make_room(uint32_t length);
  bool overlaps(const Place &place, uint32_t offset, uint32_t length) const;

  host::FileDescriptor file_;
  Key key_ = {};
  Head head_;
  uint32_t write_offset_ = 0;
  uint64_t next_sequence_ = 1;
  std::deque<Place> places_;
};

}  // namespace service
