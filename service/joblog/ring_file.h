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

  // What is said once of the whole file.
  struct Head {
    uint32_t size = 0;
    uint32_t generation = 0;
    uint64_t begun_at = 0;    // sequence of the newest outcome when the file was begun: it waits for those after it
    uint64_t cleared_at = 0;  // sequence of the newest outcome that is not to be shown any more
    uint32_t version = current_version;  // of the records' bodies
  };
  static constexpr uint32_t current_version = 2;

  // Makes the file, whole and on disk, in place of a file of that name.
  static host::Result<std::shared_ptr<RingFile>> create(const std::string &path, const Head &head);
  // Fails when it is absent, or no such file. Takes files of earlier versions, too.
  static host::Result<std::shared_ptr<RingFile>> open(const std::string &path);

  // True: the record is added, and on disk after the next sync(). The oldest records make room. False, with errno:
  // nothing was added; what it would have overwritten is lost.
  bool append(std::span<const std::byte> body);
  bool sync();

  // Why what is written no longer reaches the file of that path: it was removed, cut or replaced. Null: it does.
  const char *loss(const std::string &path) const;

  const std::deque<Place> &places() const { return places_; }  // oldest first
  std::optional<Body> read(const Place &place) const;          // nullopt: overwritten since
  // The body in `record`, the bytes from the place's offset on; nullopt when they are not the record of that place.
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
