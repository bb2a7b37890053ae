// SPDX-License-Identifier: Apache-2.0
#include "service/joblog/ring_file.h"

#include <fcntl.h>
#include <sodium.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "host/files/whole_file.h"

namespace service {

struct RingFile::FileHeader {
  char magic[8] = {'S', 'C', 'H', 'E', 'D', 'L', 'O', 'G'};
  uint32_t version = 1;
  uint32_t size = 0;
  uint32_t generation = 0;
  uint32_t spare = 0;
  Key key = {};
  uint64_t checksum = 0;  // over all before it
  uint8_t padding[header_size - 48] = {};
};

struct RingFile::RecordHeader {
  uint32_t magic = record_magic;
  uint32_t length = 0;  // of the body
  uint64_t sequence = 0;
  uint64_t oldest = 0;  // sequence of the oldest record that counted when this one was written
  uint64_t body_checksum = 0;
  uint64_t checksum = 0;  // over all before it and the record's place in the file

  static constexpr uint32_t record_magic = 0x43455253;
};

namespace {

constexpr uint32_t alignment = 8;

uint32_t aligned(size_t length) {
  return static_cast<uint32_t>((length + alignment - 1) / alignment * alignment);
}

uint64_t keyed(const uint8_t *key, std::span<const std::byte> bytes) {
  static_assert(crypto_shorthash_BYTES == sizeof(uint64_t) && crypto_shorthash_KEYBYTES == 16);
  uint8_t hash[crypto_shorthash_BYTES];
  crypto_shorthash(hash, reinterpret_cast<const uint8_t *>(bytes.data()), bytes.size(), key);
  uint64_t value;
  std::memcpy(&value, hash, sizeof value);
  return value;
}

template <typename Record>
std::span<const std::byte> bytes_of(const Record &record, size_t length = sizeof(Record)) {
  return {reinterpret_cast<const std::byte *>(&record), length};
}

}  // namespace

RingFile::RingFile(host::FileDescriptor file, const FileHeader &header)
    : file_(std::move(file)),
      key_(header.key),
      size_(header.size),
      generation_(header.generation),
      write_offset_(header_size) {}

std::shared_ptr<RingFile> RingFile::create(const std::string &path, uint32_t size, uint32_t generation,
                                           std::string *error) {
  static_assert(sizeof(FileHeader) == header_size && sizeof(RecordHeader) == 40);
  FileHeader header;
  header.size = size;
  header.generation = generation;
  randombytes_buf(&header.key, sizeof header.key);
  header.checksum = keyed(header.key.bytes, bytes_of(header, offsetof(FileHeader, checksum)));
  host::FileDescriptor file = host::create_whole_file(path, size, bytes_of(header), error);
  return file ? std::shared_ptr<RingFile>(new RingFile(std::move(file), header)) : nullptr;
}

std::shared_ptr<RingFile> RingFile::open(const std::string &path, std::string *error) {
  host::FileDescriptor file(::open(path.c_str(), O_RDWR | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
  if (!file) {
    *error = path + ": " + std::strerror(errno);
    return nullptr;
  }
  FileHeader header;
  struct stat status = {};
  const bool read = pread(file.get(), &header, sizeof header, 0) == ssize_t{sizeof header};
  const bool whole = fstat(file.get(), &status) == 0 && S_ISREG(status.st_mode) && status.st_size >= header.size;
  if (!read || !whole || std::memcmp(header.magic, FileHeader().magic, sizeof header.magic) != 0 ||
      header.version != FileHeader().version || header.size <= header_size ||
      header.checksum != keyed(header.key.bytes, bytes_of(header, offsetof(FileHeader, checksum)))) {
    *error = path + ": not a job log, or damaged";
    return nullptr;
  }
  std::shared_ptr<RingFile> ring(new RingFile(std::move(file), header));
  ring->recover();
  return ring;
}

uint64_t RingFile::checksum_of(std::span<const std::byte> body) const {
  return keyed(key_.bytes, body);
}

uint64_t RingFile::checksum_of(const RecordHeader &header, uint32_t offset) const {
  struct {
    RecordHeader header;
    uint64_t offset;
  } covered = {header, offset};
  covered.header.checksum = 0;
  return keyed(key_.bytes, bytes_of(covered));
}

// The header's own checksum comes first: a body full of false headers costs no more than looking at them.
std::optional<RingFile::RecordHeader> RingFile::header_at(std::span<const std::byte> image, size_t offset) const {
  RecordHeader header;
  if (offset + sizeof header > image.size()) return std::nullopt;
  std::memcpy(&header, image.data() + offset, sizeof header);
  if (header.magic != RecordHeader::record_magic || header.length > image.size() - offset - sizeof header ||
      header.checksum != checksum_of(header, static_cast<uint32_t>(offset)) ||
      header.body_checksum != checksum_of(image.subspan(offset + sizeof header, header.length)))
    return std::nullopt;
  return header;
}

void RingFile::recover() {
  Body image(size_);
  const size_t present = host::read_at(file_.get(), image, 0);
  places_.clear();
  uint64_t newest = 0, oldest = 0;
  for (size_t offset = header_size; offset < present;) {
    const std::optional<RecordHeader> header = header_at({image.data(), present}, offset);
    if (!header) {
      offset += alignment;
      continue;
    }
    places_.push_back({header->sequence, static_cast<uint32_t>(offset), header->length});
    offset += aligned(sizeof *header + header->length);
    if (header->sequence > newest) {
      newest = header->sequence;
      oldest = header->oldest;
      write_offset_ = static_cast<uint32_t>(offset);
    }
  }
  // A wrap leaves records of the round before behind the end: they are older than those that have been overwritten.
  std::erase_if(places_, [oldest](const Place &place) { return place.sequence < oldest; });
  std::sort(places_.begin(), places_.end(), [](auto &left, auto &right) { return left.sequence < right.sequence; });
  if (newest == 0) write_offset_ = header_size;
  next_sequence_ = std::max(next_sequence_, newest + 1);
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

// Where a record of this length goes; forgets what it will overwrite, and at a wrap what is left behind the end.
uint32_t RingFile::make_room(uint32_t length) {
  const bool wraps = write_offset_ + length > size_;
  const uint32_t offset = wraps ? static_cast<uint32_t>(header_size) : write_offset_;
  std::erase_if(places_, [&](const Place &place) {
    const bool overwritten =
        place.offset < offset + length && place.offset + aligned(sizeof(RecordHeader) + place.length) > offset;
    return overwritten || (wraps && place.offset >= write_offset_);
  });
  return offset;
}

bool RingFile::append(std::span<const std::byte> body, bool durable) {
  if (body.size() > largest_body()) return false;
  const uint32_t length = aligned(sizeof(RecordHeader) + body.size());
  const uint32_t offset = make_room(length);
  const RecordHeader header = make_header(body, offset);
  Body record(length);
  std::memcpy(record.data(), &header, sizeof header);
  std::copy(body.begin(), body.end(), record.begin() + sizeof header);
  if (!host::write_at(file_.get(), record, offset) || (durable && fdatasync(file_.get()) != 0)) return fail();
  places_.push_back({header.sequence, offset, header.length});
  write_offset_ = offset + length;
  next_sequence_++;
  return true;
}

bool RingFile::sync() {
  return fdatasync(file_.get()) == 0;
}

// What is on disk now is not known: take what is whole. The sequence number is not used again.
bool RingFile::fail() {
  next_sequence_++;
  recover();
  return false;
}

std::optional<RingFile::Body> RingFile::read(const Place &place) const {
  Body record(sizeof(RecordHeader) + place.length);
  if (host::read_at(file_.get(), record, place.offset) != record.size()) return std::nullopt;
  RecordHeader header;
  std::memcpy(&header, record.data(), sizeof header);
  const std::span<const std::byte> body = std::span<const std::byte>(record).subspan(sizeof header);
  if (header.sequence != place.sequence || header.length != place.length ||
      header.checksum != checksum_of(header, place.offset) || header.body_checksum != checksum_of(body))
    return std::nullopt;
  return Body(body.begin(), body.end());
}

uint32_t RingFile::largest_body() const {
  return (size_ - static_cast<uint32_t>(header_size)) / 2 / alignment * alignment -
         static_cast<uint32_t>(sizeof(RecordHeader));
}

}  // namespace service
