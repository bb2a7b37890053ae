// SPDX-License-Identifier: Apache-2.0
#include "service/joblog/ring_file.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <random>
#include <span>

#include "service/joblog/keyed_hash.h"
#include "tests/service/world.h"

namespace service_test {
namespace {

using service::RingFile;

constexpr uint32_t small = 1024;

std::string read_file(const std::string &path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

// In place where the size allows it: a file system may take its time for a file that is cut and written anew.
void write_file(const std::string &path, const std::string &content) {
  const auto mode = std::filesystem::exists(path) && std::filesystem::file_size(path) == content.size()
                        ? std::ios::binary | std::ios::in | std::ios::out
                        : std::ios::binary | std::ios::out | std::ios::trunc;
  std::fstream(path, mode) << content;
}

std::string text_of(const RingFile &ring, const RingFile::Place &place) {
  const std::optional<RingFile::Body> body = ring.read(place);
  return body ? std::string(reinterpret_cast<const char *>(body->data()), body->size()) : "(lost)";
}

std::vector<std::string> texts(const RingFile &ring) {
  std::vector<std::string> all;
  for (const RingFile::Place &place : ring.places())
    all.push_back(text_of(ring, place));
  return all;
}

std::shared_ptr<RingFile> make(const std::string &path, uint32_t size = small) {
  const auto ring = RingFile::create(path, {size, 1, 0, 0});
  if (!ring) throw std::runtime_error(ring.error().text);
  return *ring;
}

std::shared_ptr<RingFile> reopen(const std::string &path) {
  const auto ring = RingFile::open(path);
  if (!ring) throw std::runtime_error(ring.error().text);
  return *ring;
}

TEST(RingFile, a_new_file_is_private_empty_and_has_its_size) {
  const Directory directory;
  const std::string path = directory.path() + "/log";
  EXPECT_TRUE(make(path)->places().empty());
  struct stat status = {};
  ASSERT_EQ(stat(path.c_str(), &status), 0);
  EXPECT_EQ(status.st_size, small);
  EXPECT_EQ(status.st_mode & 0777, 0600u);
  EXPECT_EQ(reopen(path)->head().generation, 1u);
}

TEST(RingFile, the_oldest_records_make_room_and_what_is_kept_is_the_newest_without_a_gap) {
  const Directory directory;
  const std::string path = directory.path() + "/log";
  const auto ring = make(path);
  std::mt19937 random(7);
  std::vector<std::string> written;
  for (int i = 0; i < 200; i++) {
    written.push_back(std::to_string(i) + std::string(random() % 300, '.'));
    ASSERT_TRUE(ring->append(bytes(written.back())));
    const std::vector<std::string> kept = texts(*ring);
    ASSERT_GE(kept.size(), 1u) << i;
    ASSERT_EQ(kept, std::vector<std::string>(written.end() - static_cast<long>(kept.size()), written.end())) << i;
    ASSERT_EQ(texts(*reopen(path)), kept) << i;
    ASSERT_EQ(reopen(path)->write_offset(), ring->write_offset()) << i;
  }
}

TEST(RingFile, a_record_of_half_the_file_fits_and_a_larger_one_is_refused) {
  const Directory directory;
  const auto ring = make(directory.path() + "/log");
  const std::string largest(ring->largest_body(), 'x');
  EXPECT_TRUE(ring->append(bytes(largest)));
  EXPECT_TRUE(ring->append(bytes(largest)));
  EXPECT_EQ(texts(*ring).size(), 2u);
  EXPECT_FALSE(ring->append(bytes(largest + "x")));
  EXPECT_EQ(texts(*ring).size(), 2u);
}

// Each takes a quarter of the file: 40 bytes of a header and 200 of a text, of 960.
TEST(RingFile, records_that_fill_it_to_the_last_byte_leave_when_their_own_place_is_written) {
  const Directory directory;
  const std::string path = directory.path() + "/log";
  const auto ring = make(path);
  EXPECT_EQ(ring->largest_body(), 440u);
  EXPECT_EQ(ring->read_offset(), 64u);
  for (int i = 0; i < 12; i++) {
    const std::string text = std::to_string(i % 10) + std::string(199, '.');
    ASSERT_TRUE(ring->append(bytes(text)));
    EXPECT_EQ(ring->places().size(), std::min<size_t>(static_cast<size_t>(i) + 1, 4)) << i;
    EXPECT_EQ(ring->places().back().offset, 64u + static_cast<uint32_t>(i % 4) * 240);
    EXPECT_EQ(ring->write_offset(), ring->places().back().offset + 240);
    EXPECT_EQ(ring->read_offset(), ring->places().front().offset);
    EXPECT_EQ(texts(*reopen(path)), texts(*ring));
  }
}

TEST(RingFile, that_is_opened_again_goes_on_with_the_next_number) {
  const Directory directory;
  const std::string path = directory.path() + "/log";
  for (uint64_t next = 1; next <= 3; next++) {
    const auto ring = next == 1 ? make(path) : reopen(path);
    ASSERT_TRUE(ring->append(bytes("x")));
    EXPECT_EQ(ring->places().back().sequence, next);
  }
}

TEST(RingFile, a_record_whose_header_is_damaged_anywhere_is_not_read) {
  const Directory directory;
  const std::string path = directory.path() + "/log";
  const auto ring = make(path);
  ASSERT_TRUE(ring->append(bytes("one")));
  const std::string whole = read_file(path);
  for (size_t at = 64; at < 64 + 40; at++) {
    if (at - 64 < 4) continue;  // its mark alone is not looked at where a record is known to be
    std::string damaged = whole;
    damaged[at] ^= 1;
    write_file(path, damaged);
    EXPECT_EQ(ring->read(ring->places().front()), std::nullopt) << at;
    EXPECT_TRUE(reopen(path)->places().empty()) << at;
  }
}

// Every prefix of the last write, laid over the file as it was before: all that is found was written, is whole and in
// order; what the write does not overwrite is found.
TEST(RingFile, a_write_torn_at_any_byte_loses_nothing_but_what_it_overwrites) {
  const Directory directory;
  const std::string path = directory.path() + "/log";
  auto ring = make(path);
  for (int i = 0; i < 12; i++) {
    const std::string before = read_file(path);
    const std::vector<RingFile::Place> places(ring->places().begin(), ring->places().end());
    std::map<uint64_t, std::string> known;
    for (const RingFile::Place &place : places)
      known[place.sequence] = text_of(*ring, place);
    const std::string text = std::to_string(i) + std::string(static_cast<size_t>(100 + 37 * i % 150), 'y');
    ASSERT_TRUE(ring->append(bytes(text)));
    const RingFile::Place added = ring->places().back();
    known[added.sequence] = text;
    const std::string after = read_file(path);
    const size_t end = ring->write_offset();

    for (size_t torn = added.offset; torn <= end; torn++) {
      const std::string image = after.substr(0, torn) + before.substr(torn);
      write_file(path, image);
      const auto found = reopen(path);
      ASSERT_TRUE(found);
      uint64_t last = 0;
      for (const RingFile::Place &place : found->places()) {
        ASSERT_GT(place.sequence, last);
        last = place.sequence;
        ASSERT_EQ(text_of(*found, place), known.at(place.sequence)) << i << " torn at " << torn;
      }
      for (const RingFile::Place &place : places) {
        const bool touched = place.offset < end && place.offset + 40 + place.length > added.offset;
        const bool left_behind = added.offset < places.back().offset && place.offset > places.back().offset;
        const bool present = std::any_of(found->places().begin(), found->places().end(),
                                         [&](const auto &other) { return other.sequence == place.sequence; });
        if (touched || left_behind) continue;
        ASSERT_TRUE(present) << i << " torn at " << torn << " lost " << place.sequence;
      }
      const bool whole = image.compare(added.offset, 40 + added.length, after, added.offset, 40 + added.length) == 0;
      ASSERT_EQ(last == added.sequence, whole) << i << " torn at " << torn;
    }
    write_file(path, after);
    ring = reopen(path);
    ASSERT_EQ(texts(*ring).back(), text);
  }
}

TEST(RingFile, a_record_inside_a_record_is_not_taken_for_one) {
  const Directory directory;
  const std::string path = directory.path() + "/log";
  {
    const auto ring = make(path, 4096);
    ASSERT_TRUE(ring->append(bytes("first")));
    // The whole file, its records and their checksums, as the body of the next record.
    ASSERT_TRUE(ring->append(bytes(read_file(path).substr(0, 1024))));
  }
  EXPECT_EQ(texts(*reopen(path)).size(), 2u);
  // Also when the outer record's header is damaged, so that its body is searched.
  std::string content = read_file(path);
  const size_t second = content.find("SREC", content.find("SREC") + 1);
  ASSERT_NE(second, std::string::npos);
  content[second] = 'X';
  write_file(path, content);
  EXPECT_EQ(texts(*reopen(path)), std::vector<std::string>{"first"});
}

TEST(RingFile, a_damaged_record_is_dropped_and_the_others_stay) {
  const Directory directory;
  const std::string path = directory.path() + "/log";
  {
    const auto ring = make(path);
    for (const char *text : {"one", "two", "three"})
      ASSERT_TRUE(ring->append(bytes(text)));
  }
  std::string content = read_file(path);
  content[content.find("two")] ^= 1;
  write_file(path, content);
  EXPECT_EQ(texts(*reopen(path)), (std::vector<std::string>{"one", "three"}));
}

TEST(RingFile, files_that_are_no_such_file_are_refused_and_left_alone) {
  const Directory directory;
  const std::string path = directory.path() + "/log", link = directory.path() + "/link";
  make(path);
  const std::string good = read_file(path);
  std::string damaged_header = good;
  damaged_header[12] ^= 1;
  for (const std::string &content : {std::string(), good.substr(0, 63), good.substr(0, 64),
                                     good.substr(0, good.size() - 1), damaged_header, std::string(small, 'x')}) {
    write_file(path, content);
    const auto opened = RingFile::open(path);
    ASSERT_FALSE(opened);
    EXPECT_EQ(read_file(path), content);
    EXPECT_NE(opened.error().text.find(path), std::string::npos) << opened.error().text;
  }
  write_file(path, good);
  std::filesystem::create_symlink(path, link);
  EXPECT_FALSE(RingFile::open(link));
  EXPECT_FALSE(RingFile::open(directory.path() + "/absent"));
}

// The file's header with these words of it changed, and its checksum computed anew.
std::string with_head(std::string file, uint32_t version, uint32_t size) {
  std::memcpy(file.data() + 8, &version, sizeof version);
  std::memcpy(file.data() + 12, &size, sizeof size);
  std::memset(file.data() + 40, 0, 8);
  uint8_t key[16];
  std::memcpy(key, file.data() + 24, sizeof key);
  const uint64_t checksum = service::keyed_hash(key, std::as_bytes(std::span(file.data(), version == 1 ? 40 : 64)));
  std::memcpy(file.data() + 40, &checksum, sizeof checksum);
  return file;
}

TEST(RingFile, is_of_a_version_that_is_known_and_larger_than_its_header) {
  const Directory directory;
  const std::string path = directory.path() + "/log";
  make(path);
  const std::string good = read_file(path);
  const auto opens = [&](uint32_t version, uint32_t size) {
    write_file(path, with_head(good, version, size));
    return RingFile::open(path).ok();
  };
  EXPECT_FALSE(opens(0, small));
  EXPECT_TRUE(opens(1, small));
  EXPECT_TRUE(opens(2, small));
  EXPECT_FALSE(opens(3, small));
  EXPECT_FALSE(opens(2, 64));
  EXPECT_TRUE(opens(2, 65));
  EXPECT_FALSE(opens(2, small + 1));
}

TEST(RingFile, a_record_that_was_overwritten_is_not_read_as_another) {
  const Directory directory;
  const auto ring = make(directory.path() + "/log");
  ASSERT_TRUE(ring->append(bytes(std::string(200, 'a'))));
  const RingFile::Place first = ring->places().front();
  for (int i = 0; i < 6; i++)
    ASSERT_TRUE(ring->append(bytes(std::string(200, 'b'))));
  EXPECT_EQ(ring->read(first), std::nullopt);
}

}  // namespace
}  // namespace service_test
