// SPDX-License-Identifier: Apache-2.0
// The file of the job log on a disk that fails.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cerrno>

#include "service/joblog/ring_file.h"
#include "tests/service/world.h"

namespace {

enum class Fault { none, nothing_written, half_written };
Fault fault = Fault::none;
int fault_number = 0;

}  // namespace

// The host's writes go through here, too.
extern "C" ssize_t pwrite(int file, const void *bytes, size_t size, off_t offset) {
  static const auto real = reinterpret_cast<ssize_t (*)(int, const void *, size_t, off_t)>(dlsym(RTLD_NEXT, "pwrite"));
  if (fault == Fault::none) return real(file, bytes, size, offset);
  if (fault == Fault::half_written && size > 1) real(file, bytes, size / 2, offset);
  errno = fault_number;
  return -1;
}

namespace service_test {
namespace {

using service::RingFile;

std::vector<std::string> texts(const RingFile &ring) {
  std::vector<std::string> all;
  for (const RingFile::Place &place : ring.places()) {
    const auto body = ring.read(place);
    all.push_back(body ? std::string(reinterpret_cast<const char *>(body->data()), body->size()) : "(lost)");
  }
  return all;
}

// At each place of the ring in turn, the wrap included.
TEST(RingFileFault, a_write_that_fails_costs_at_most_what_it_would_have_overwritten_and_the_next_one_succeeds) {
  for (const Fault kind : {Fault::nothing_written, Fault::half_written}) {
    for (const int number : {EIO, ENOSPC}) {
      const Directory directory;
      const std::string path = directory.path() + "/log";
      const std::shared_ptr<RingFile> ring = *RingFile::create(path, {1024, 1, 0, 0});
      for (int i = 0; i < 40; i++) {
        std::vector<std::string> before = texts(*ring);
        fault = kind;
        fault_number = number;
        const bool added = ring->append(bytes("lost" + std::string(static_cast<size_t>(i * 53 % 250), '.')));
        EXPECT_EQ(errno, number);
        fault = Fault::none;
        ASSERT_FALSE(added);
        const std::vector<std::string> kept = texts(*ring);
        ASSERT_LE(kept.size(), before.size());
        ASSERT_EQ(kept, std::vector<std::string>(before.end() - static_cast<long>(kept.size()), before.end())) << i;
        ASSERT_TRUE(ring->append(bytes(std::to_string(i) + std::string(static_cast<size_t>(i * 37 % 200), 'x'))));
        ASSERT_EQ(texts(**RingFile::open(path)), texts(*ring)) << i;
      }
    }
  }
}

}  // namespace
}  // namespace service_test
