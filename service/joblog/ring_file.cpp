// SPDX-License-Identifier: Apache-2.0
#include "service/joblog/ring_file.h"

#include <fcntl.h>
#include <sys/random.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "host/files/disk.h"
#include "host/files/whole_file.h"
#include "host/status.h"
#include "service/joblog/keyed_hash.h"

namespace service {

struct RingFile::FileHeader {
  char magic[8] = {'S', 'C', 'H', 'E', 'D', 'L', 'O', 'G'};
  uint32_t version = current_version;
  uint32_t size = 0;
  uint32_t generation = 0;
  uint32_t spare = 0;
  Key key = {};
  uint64_t checksum = 0;  // over the fields before it, in version 2 also those behind it
  uint64_t begun_at = 0;
  uint64_t cleared_at = 0;
};

struct RingFile::RecordHeader {
  uint32_t magic = record_magic;
  uint32_t length = 0;  // of the body
  uint64_t sequence = 0;
  uint64_t oldest = 0;  // sequence of the oldest record that was valid when this one was written
  uint64_t body_checksum = 0;
  uint64_t checksum = 0;  // over the fields before it and the record's offset in the file

  static constexpr uint32_t record_magic = 0x43455253;
};

namespace {

constexpr uint32_t alignment = 8;

uint32_t aligned(size_t length) {
  return static_cast<uint32_t>((length + alignment - 1) / alignment * alignment);
}

// The bytes that a record occupies in the file.
uint32_t extent(size_t body_length) {
  return aligned(RingFile::record_header_size + body_length);
}

template <typename Record>
std::span<const std::byte> bytes_of(const Record &record, size_t length = sizeof(Record)) {
  return {reinterpret_cast<const std::byte *>(&record), length};
}

// Version 1 had nothing behind the checksum.
template <typename FileHeader>
uint64_t checksum_of_head(FileHeader header) {
  const size_t covered = header.version == 1 ? offsetof(FileHeader, checksum) : sizeof header;
  header.checksum = 0;
  return keyed_hash(header.key.bytes, bytes_of(header, covered));
}

host::Error failure(const std::string &path) {
  return {host::err_io, path + ": " + std::strerror(errno)};
}

}  // namespace

RingFile::RingFile(host::FileDescriptor file, const FileHeader &header)
    : file_(std::move(file)),
      key_(header.key),
      head_{header.size, header.generation, header.begun_at, header.cleared_at, header.version},
      write_offset_(header_size) {}

host::Result<std::shared_ptr<RingFile>> RingFile::create(const std::string &path, const Head &head) {
  static_assert(sizeof(FileHeader) == header_size && sizeof(RecordHeader) == record_header_size);
  FileHeader header;
  header.size = head.size;
  header.generation = head.generation;
  header.begun_at = head.begun_at;
  header.cleared_at = head.cleared_at;
  if (getrandom(&header.key, sizeof header.key, 0) != ssize_t{sizeof header.key}) return failure(path);
  header.checksum = checksum_of_head(header);
  host::Result<host::FileDescriptor> file = host::create_whole_file(path, head.size, bytes_of(header));
  if (!file) return file.error();
  return std::shared_ptr<RingFile>(new RingFile(std::move(*file), header));
}

host::Result<std::shared_ptr<RingFile>> RingFile::open(const std::string &path) {
  host::FileDescriptor file(::open(path.c_str(), O_RDWR | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
  if (!file) return failure(path);
  FileHeader header;
  struct stat status = {};
  const bool read = pread(file.get(), &header, sizeof header, 0) == ssize_t{sizeof header};
  const bool whole = fstat(file.get(), &status) == 0 && S_ISREG(status.st_mode) && status.st_size >= header.size;
  if (!read || !whole || std::memcmp(header.magic, FileHeader().magic, sizeof header.magic) != 0 ||
      header.version == 0 || header.version > current_version || header.size <= header_size ||
      header.checksum != checksum_of_head(header))
    return host::Error{host::err_io, path + ": not a job log, or damaged"};
  std::shared_ptr<RingFile> ring(new RingFile(std::move(file), header));
  ring->recover();
  return ring;
}

uint64_t RingFile::checksum_of(std::span<const std::byte> body) const {
  return keyed_hash(key_.bytes, body);
}

uint64_t RingFile::checksum_of(const RecordHeader &header, uint32_t offset) const {
  struct {
    RecordHeader header;
    uint64_t offset;
  } covered = {header, offset};
  covered.header.checksum = 0;
  return keyed_hash(key_.bytes, bytes_of(covered));
}

// Searches the file for records from its beginning, reading it window by window, as a log may be large.
class RingFile::Scan {
 public:
  explicit Scan(const RingFile &ring) : ring_(ring) {}

  // Whether the file has data at the offset, be it a record or not.
  bool reaches(uint32_t offset) { return !bytes(offset, alignment).empty(); }

  // The header's own checksum is checked first, so that a job's output that looks like headers costs no more than this.
  std::optional<RecordHeader> record_at(uint32_t offset) {
    const std::span<const std::byte> start = bytes(offset, sizeof(RecordHeader));
    if (start.empty()) return std::nullopt;
    RecordHeader header;
    std::memcpy(&header, start.data(), sizeof header);
    if (header.magic != RecordHeader::record_magic || header.checksum != ring_.checksum_of(header, offset))
      return std::nullopt;
    const std::span<const std::byte> record = bytes(offset, sizeof header + header.length);
    if (record.empty() || header.body_checksum != ring_.checksum_of(record.subspan(sizeof header))) return std::nullopt;
    return header;
  }

 private:
  static constexpr size_t window_size = 64 * 1024;

  // Empty if they reach beyond the end.
  std::span<const std::byte> bytes(uint32_t offset, size_t length) {
    if (offset + length > ring_.head_.size) return {};
    if (offset < at_ || offset + length > at_ + filled_) {
      window_.resize(std::min<size_t>(std::max(length, window_size), ring_.head_.size - offset));
      filled_ = ring_.read_bytes(window_, offset);
      at_ = offset;
    }
    return length <= filled_ - (offset - at_) ? std::span<const std::byte>(window_).subspan(offset - at_, length)
                                              : std::span<const std::byte>();
  }

  const RingFile &ring_;
  Body window_;
  size_t at_ = 0, filled_ = 0;
};

void RingFile::recover() {
  Scan scan(*this);
  uint64_t newest = 0, oldest = 0;
  for (uint32_t offset = header_size; scan.reaches(offset);) {
    const std::optional<RecordHeader> header = scan.record_at(offset);
    if (!header) {
      offset += alignment;
      continue;
    }
    places_.push_back({header->sequence, offset, header->length});
    offset += extent(header->length);
    if (header->sequence > newest) {
      newest = header->sequence;
      oldest = header->oldest;
      write_offset_ = offset;
    }
  }
  // Behind the newest record there may be records of the previous round that are no longer valid: each record says
  // which was the oldest valid one when it was written.
  std::erase_if(places_, [oldest](const Place &place) { return place.sequence < oldest; });
  std::sort(places_.begin(), places_.end(), [](auto &left, auto &right) { return left.sequence < right.sequence; });
  next_sequence_ = newest + 1;
}

RingFile::RecordHeader RingFile::make_header(std::span<const std::byte> body, uint32_t offset) const {
  RecordHeader header;
  header.length = static_cast<uint32_t>(body.size());
  header.sequence = next_sequence_;
  header.oldest = places_.empty() ? next_sequence_ : places_.front().sequence;
  header.body_checksum = checksum_of(body);
  header.checksum = checksum_of(header, offset);
  return header;
}

bool RingFile::overlaps(const Place &place, uint32_t offset, uint32_t length) const {
  return place.offset < offset + length && place.offset + extent(place.length) > offset;
}

// The offset for a record of this length. Forgets the records that it overwrites, and at a wrap those behind the write
// offset. The oldest records follow the newest in the file, so these are always the first of places_.
uint32_t RingFile::make_room(uint32_t length) {
  const bool wraps = write_offset_ + length > head_.size;
  const uint32_t offset = wraps ? static_cast<uint32_t>(header_size) : write_offset_;
  while (!places_.empty() &&
         ((wraps && places_.front().offset >= write_offset_) || overlaps(places_.front(), offset, length)))
    places_.pop_front();
  return offset;
}

// After a failed write the bytes there are unknown. The next record is written to the same place, with a new sequence
// number.
bool RingFile::append(std::span<const std::byte> body) {
  if (body.size() > largest_body()) {
    errno = EFBIG;
    return false;
  }
  const uint32_t length = extent(body.size());
  const uint32_t offset = make_room(length);
  const RecordHeader header = make_header(body, offset);
  next_sequence_++;
  Body record(length);
  std::memcpy(record.data(), &header, sizeof header);
  std::copy(body.begin(), body.end(), record.begin() + sizeof header);
  if (!host::write_at(file_.get(), record, offset)) return false;
  places_.push_back({header.sequence, offset, header.length});
  write_offset_ = offset + length;
  return true;
}

bool RingFile::sync() {
  return host::flush_data(file_.get()) == 0;
}

const char *RingFile::loss(const std::string &path) const {
  struct stat held = {}, named = {};
  if (fstat(file_.get(), &held) != 0 || stat(path.c_str(), &named) != 0) return "removed";
  if (held.st_ino != named.st_ino || held.st_dev != named.st_dev) return "replaced";
  return held.st_size < head_.size ? "cut" : nullptr;
}

size_t RingFile::read_bytes(std::span<std::byte> into, uint32_t offset) const {
  return host::read_at(file_.get(), into, offset);
}

std::optional<std::span<const std::byte>> RingFile::body_of(const Place &place,
                                                            std::span<const std::byte> record) const {
  RecordHeader header;
  if (record.size() < sizeof header + place.length) return std::nullopt;
  std::memcpy(&header, record.data(), sizeof header);
  const std::span<const std::byte> body = record.subspan(sizeof header, place.length);
  if (header.sequence != place.sequence || header.length != place.length ||
      header.checksum != checksum_of(header, place.offset) || header.body_checksum != checksum_of(body))
    return std::nullopt;
  return body;
}

std::optional<RingFile::Body> RingFile::read(const Place &place) const {
  Body record(sizeof(RecordHeader) + place.length);
  record.resize(read_bytes(record, place.offset));
  const std::optional<std::span<const std::byte>> body = body_of(place, record);
  if (!body) return std::nullopt;
  return Body(body->begin(), body->end());
}

uint32_t RingFile::largest_body() const {
  return (head_.size - static_cast<uint32_t>(header_size)) / 2 / alignment * alignment -
         static_cast<uint32_t>(sizeof(RecordHeader));
}

}  // namespace service
