// SPDX-License-Identifier: Apache-2.0
#include "host/files/disk.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <thread>

#include "host/files/file_descriptor.h"
#include "tests/host/failing_calls.h"
#include "tests/host/store_fixture.h"

namespace files_test {
namespace {

class DiskTest : public store_test::StoreTest {
 protected:
  DiskTest() { synced.clear(); }
  ~DiskTest() override { host::wait_for_disk_by(nullptr); }

  const std::string path = directory + "/file";
  const host::FileDescriptor file{::open(path.c_str(), O_RDWR | O_CREAT, 0600)};
  const FailingCalls failing_;
};

TEST_F(DiskTest, a_file_is_flushed_whole_or_its_data_alone) {
  EXPECT_EQ(host::flush(file.get()), 0);
  EXPECT_EQ(host::flush_data(file.get()), 0);
  EXPECT_EQ(synced, (std::vector<std::string>{path, "data of " + path}));
}

// errno is a thread's own.
TEST_F(DiskTest, why_it_failed_is_known_also_where_another_thread_has_done_it) {
  std::thread::id worker;
  for (const bool elsewhere : {false, true}) {
    if (elsewhere)
      host::wait_for_disk_by([&](const host::DiskWork &work) {
        std::thread thread([&] {
          worker = std::this_thread::get_id();
          work();
        });
        thread.join();
        errno = 0;
      });
    EXPECT_EQ(host::flush(file.get()), 0);
    for (const int error : {EIO, ENOSPC}) {
      trouble = {"fsync", path, error};
      EXPECT_EQ(host::flush(file.get()), -1);
      EXPECT_EQ(errno, error);
      trouble = {"fdatasync", path, error};
      EXPECT_EQ(host::flush_data(file.get()), -1);
      EXPECT_EQ(errno, error);
    }
    EXPECT_EQ(worker != std::thread::id(), elsewhere);
  }
}

}  // namespace
}  // namespace files_test
