// SPDX-License-Identifier: Apache-2.0
// The log beside the outcomes in the store: completed from them, and shown together with them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sodium.h>

#include <cstring>
#include <filesystem>
#include <fstream>

#include "service/joblog/joblog.h"
#include "tests/service/world.h"

namespace service_test {
namespace {

using service::JobLog;
using service::LogRecord;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

LogRecord outcome(uint64_t sequence, const std::string &output = {}) {
  LogRecord record;
  record.job = "job" + std::to_string(sequence);
  record.schedule = "schedule";
  record.user = "root";
  record.owner_tag = 1;
  record.completion = static_cast<uint32_t>(noon);
  record.run = sequence + 100;
  record.outcome = sequence;
  record.output = output;
  return record;
}

service::OutcomeSource store_with(uint64_t newest) {
  service::OutcomeSource source;
  source.newest = [newest] { return newest; };
  source.walk_after = [newest](uint64_t after, const std::function<void(const LogRecord &)> &visit) {
    for (uint64_t sequence = after + 1; sequence <= newest; sequence++)
      visit(outcome(sequence));
  };
  return source;
}

std::vector<std::string> jobs(const JobLog &log, service::GoneOutcomes gone = {}) {
  std::vector<std::string> names;
  service::LogReader reader = log.read({}, std::move(gone));
  while (const std::optional<LogRecord> record = reader.next())
    names.push_back(record->job);
  return names;
}

std::string path_of_log() {
  return service::log_path(sch_log_file);
}

TEST(JobLogAndStore, a_log_that_a_crash_left_behind_is_completed_once_and_says_so) {
  World world;
  JobLog &log = world.parts->log;
  log.append(outcome(1, "one\n"));
  log.append(outcome(2, "two\n"));
  for (int start = 0; start < 2; start++) {
    ASSERT_TRUE(log.open(store_with(4)));
    EXPECT_THAT(jobs(log), ElementsAre("job1", "job2", "job3", "job4"));
  }
  service::LogReader reader = log.read({});
  std::optional<LogRecord> last;
  while (std::optional<LogRecord> record = reader.next())
    last = std::move(record);
  EXPECT_EQ(last->output, "[its output was lost: the service ended before it was written]\n");
  EXPECT_EQ(last->run, 104u);
}

TEST(JobLogAndStore, a_new_log_does_not_begin_with_everything_that_ever_was) {
  World world;
  world.stop();
  std::filesystem::remove(path_of_log());
  world.start();
  std::filesystem::remove(path_of_log());
  JobLog log;
  ASSERT_TRUE(log.open(store_with(1000)));
  EXPECT_THAT(jobs(log), ElementsAre());
  log.append(outcome(1001));
  log.sync();
  ASSERT_TRUE(log.open(store_with(1002)));
  EXPECT_THAT(jobs(log), ElementsAre("job1001", "job1002"));
}

TEST(JobLogAndStore, a_cleared_log_shows_no_older_outcome_after_a_restart_a_resize_or_a_loss_either) {
  World world;
  world.parts->log.append(outcome(5));
  ASSERT_EQ(world.send(root(), SCH_SERVICE_CONFIG, SCH_OP_CLEAR_LOG, log_payload("", "", 0)).status, 0u);
  EXPECT_EQ(world.parts->log.shown_after(), 5u);
  ASSERT_EQ(world.send(root(), SCH_SERVICE_CONFIG, SCH_OP_RESIZE_LOG, log_payload("", "", 65536)).status, 0u);
  EXPECT_EQ(world.parts->log.shown_after(), 5u);
  world.restart();
  EXPECT_EQ(world.parts->log.shown_after(), 5u);
  ASSERT_TRUE(world.parts->log.open(store_with(5)));
  EXPECT_THAT(jobs(world.parts->log), ElementsAre());
  std::filesystem::remove(path_of_log());
  world.parts->log.append(outcome(6));
  EXPECT_EQ(world.parts->log.shown_after(), 5u);
}

TEST(JobLogAndStore, outcomes_whose_record_is_gone_are_shown_in_their_place_with_a_note) {
  World world;
  JobLog &log = world.parts->log;
  for (const uint64_t sequence : {3u, 4u, 6u, 7u})
    log.append(outcome(sequence, "output\n"));
  EXPECT_TRUE(log.lacks(5) && log.lacks(2) && !log.lacks(6));
  service::GoneOutcomes gone;
  gone.keys = {{1, 101, 0}, {2, 102, 0}, {5, 105, 0}, {8, 108, 0}};
  gone.fetch = [](const service::GoneOutcomes::Key &key) { return outcome(key.sequence); };
  EXPECT_THAT(jobs(log, gone), ElementsAre("job1", "job2", "job3", "job4", "job5", "job6", "job7", "job8"));
  EXPECT_EQ(log.read({}, gone).next()->output, "[its output has made room for newer records]\n");
}

TEST(JobLogFile, that_was_removed_cut_or_replaced_is_noticed_at_the_next_write_and_begun_anew) {
  const std::pair<const char *, std::function<void(const std::string &)>> losses[] = {
      {"removed", [](const std::string &path) { std::filesystem::remove(path); }},
      {"cut", [](const std::string &path) { std::filesystem::resize_file(path, 100); }},
      {"replaced", [](const std::string &path) {
         std::filesystem::remove(path);
         std::ofstream(path) << "mine";
       }}};
  for (const auto &[what, lose] : losses) {
    World world;
    world.parts->log.append(outcome(1));
    lose(path_of_log());
    world.parts->log.append(outcome(2));
    world.parts->log.append(outcome(3));
    EXPECT_THAT(jobs(world.parts->log), ElementsAre("-", "job2", "job3")) << what;
    EXPECT_THAT(log_of(world).at(0).output, HasSubstr(std::string("was ") + what));
    world.restart();
    EXPECT_THAT(jobs(world.parts->log), ElementsAre("-", "job2", "job3")) << what;
    const bool aside = std::filesystem::exists(path_of_log() + ".damaged-" + std::to_string(noon));
    EXPECT_EQ(aside, what == std::string("replaced"));
  }
}

struct Version1 {
  struct File {
    char magic[8] = {'S', 'C', 'H', 'E', 'D', 'L', 'O', 'G'};
    uint32_t version = 1, size = 16384, generation = 0, spare = 0;
    uint8_t key[16] = {1, 2, 3};
    uint64_t checksum = 0;
    uint8_t padding[16] = {};
  } file;
  struct Record {
    uint32_t magic = 0x43455253, length = 0;
    uint64_t sequence = 1, oldest = 1, body_checksum = 0, checksum = 0;
  } record;
  struct Body {
    uint32_t owner_tag = 1;
    char job[32] = "old", schedule[32] = "schedule", user[40] = "root";
    uint32_t wait_status = 256, completion = static_cast<uint32_t>(noon);
    char output[4] = {'o', 'u', 't', '\n'};
  } body;

  uint64_t hash(const void *bytes, size_t size) const {
    uint64_t value;
    crypto_shorthash(reinterpret_cast<unsigned char *>(&value), static_cast<const unsigned char *>(bytes), size,
                     file.key);
    return value;
  }

  std::string image() {
    file.checksum = hash(&file, offsetof(File, checksum));
    record.length = sizeof body;
    record.body_checksum = hash(&body, sizeof body);
    struct {
      Record record;
      uint64_t offset = 64;
    } covered = {record};
    record.checksum = hash(&covered, sizeof covered);
    std::string whole(16384, '\0');
    std::memcpy(whole.data(), &file, sizeof file);
    std::memcpy(whole.data() + 64, &record, sizeof record);
    std::memcpy(whole.data() + 64 + sizeof record, &body, sizeof body);
    return whole;
  }
};

uint32_t version_in(const std::string &path) {
  uint32_t version = 0;
  std::ifstream file(path, std::ios::binary);
  file.seekg(offsetof(Version1::File, version));
  file.read(reinterpret_cast<char *>(&version), sizeof version);
  return version;
}

TEST(JobLogFile, of_the_first_version_is_taken_over_with_its_records) {
  World world;
  world.stop();
  world.start();
  const std::string path = path_of_log();
  world.stop();
  std::ofstream(path, std::ios::binary | std::ios::trunc) << Version1().image();
  for (int start = 0; start < 2; start++) {
    world.start();
    const std::vector<Logged> log = log_of(world);
    ASSERT_EQ(log.size(), 1u);
    EXPECT_EQ(log[0], (Logged{"old", "schedule", "root", "out\n", 1, noon}));
    EXPECT_EQ(version_in(path), service::RingFile::current_version);
    EXPECT_FALSE(std::filesystem::exists(path + ".next"));
    world.stop();
  }
  world.start();
}

}  // namespace
}  // namespace service_test
