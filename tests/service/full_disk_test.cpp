// SPDX-License-Identifier: Apache-2.0
// A service whose disk is full at whatever it writes: what it acknowledges is there, what it refuses has changed
// nothing, and each due time has one outcome when there is room again.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "service/request/control.h"
#include "service/run/history.h"
#include "service/state/job_text.h"
#include "service/state/tables.h"
#include "tests/service/world.h"

namespace service_test {
namespace {

constexpr time_t day = 86400, minute = 60;

class FullDisk : public ::testing::Test {
 protected:
  void SetUp() override {
    const char *disk = directory_.path().c_str();
    if (geteuid() != 0 || mount("tmpfs", disk, "tmpfs", 0, "size=1500k,mode=0700") != 0)
      GTEST_SKIP() << "cannot mount a small disk";
    mounted_ = true;
    world_ = std::make_unique<World>(directory_.path(), noon);
  }
  void TearDown() override {
    world_.reset();
    if (mounted_) umount2(directory_.path().c_str(), MNT_DETACH);
  }

  void leave_free(size_t bytes) const {
    free_all();
    struct statvfs room = {};
    ASSERT_EQ(statvfs(directory_.path().c_str(), &room), 0);
    const size_t free = room.f_bavail * room.f_bsize;
    if (free <= bytes) return;
    std::ofstream(filler()) << std::string(free - bytes, 'x');
  }
  void free_all() const { std::filesystem::remove(filler()); }
  std::string filler() const { return directory_.path() + "/filler"; }

  const Directory directory_;
  bool mounted_ = false;
  std::unique_ptr<World> world_;
};

TEST_F(FullDisk, at_every_write_loses_nothing_that_was_acknowledged_and_no_due_time) {
  World &world = *world_;
  ASSERT_EQ(service::control({world.parts->context, root()}, control::Operation::enable_feature, {}).status, 0u);
  ASSERT_EQ(create_job(world, "job", "echo ran\n"), 0u);
  ASSERT_EQ(create_schedule(world, "s", {"job"}, daily(12, 30)), 0u);
  int refused = 0;
  for (int pages = 0; pages < 12; pages++) {
    const time_t due = noon + 30 * minute + pages * day;
    const std::string name = "job" + std::to_string(pages), before = configuration();
    leave_free(static_cast<size_t>(pages) * 4096);
    if (create_job(world, name, std::string(9000, 'x') + "\n") != 0) {
      refused++;
      EXPECT_TRUE(service::find_job(name) == nullptr || service::job_text(*service::find_job(name)).empty()) << pages;
      EXPECT_TRUE(service::find_job(name) != nullptr || configuration() == before) << pages;
    }
    set_clock(due);
    world.parts->scheduler.check();
    for (int i = 0; i < 200; i++)
      world.loop.turn_without_waiting();
    free_all();
    world.settle();
    const auto runs = service::read_history(*service::find_schedule("s"));
    ASSERT_FALSE(runs.empty()) << pages;
    EXPECT_EQ(runs.size(), static_cast<size_t>(pages) + 1);
    EXPECT_EQ(runs.front().outcomes.front().due, static_cast<uint32_t>(due)) << pages;
    EXPECT_EQ(runs.front().outcomes.size(), 1u) << pages;
  }
  EXPECT_GT(refused, 0) << "the disk was never full";
  EXPECT_LT(refused, 12) << "the disk was never free";
  const std::string after = configuration();
  world.restart();
  EXPECT_EQ(configuration(), after);
}

}  // namespace
}  // namespace service_test
