// SPDX-License-Identifier: Apache-2.0
#include "service/joblog/joblog.h"
#include "control/statuses.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "service/limits.h"
#include "service/request/log_settings.h"
#include "tests/service/store_faults.h"
#include "tests/service/world.h"

namespace service_test {
namespace {

using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::StartsWith;

service::LogRecord record(const std::string &job, const std::string &output) {
  service::LogRecord result;
  result.job = job;
  result.schedule = "schedule";
  result.user = "root";
  result.owner_tag = 1;
  result.completion = static_cast<uint32_t>(noon);
  result.output = output;
  return result;
}

std::vector<std::string> jobs(World &world) {
  std::vector<std::string> names;
  for (const Logged &entry : log_of(world))
    names.push_back(entry.job);
  return names;
}

uint32_t resize(World &world, uint32_t size) {
  return world.send(root(), SCH_SERVICE_CONFIG, SCH_OP_RESIZE_LOG, log_payload("", "", size)).status;
}

uint32_t clear(World &world) {
  return world.send(root(), SCH_SERVICE_CONFIG, SCH_OP_CLEAR_LOG, log_payload("", "", 0)).status;
}

uint32_t rename_to(World &world, const std::string &uri) {
  const std::string path = world.directory.path() + "/state/flash/" + uri.substr(uri.find(':') + 1);
  return world.send(root(), SCH_SERVICE_CONFIG, SCH_OP_RENAME_LOG, log_payload(path, uri, 0)).status;
}

TEST(JobLog, an_output_larger_than_its_room_is_cut_with_a_line_that_tells_how_large_it_was) {
  World world;
  world.parts->log.append(record("large", std::string(100000, 'x')));
  const std::vector<Logged> log = log_of(world);
  ASSERT_EQ(log.size(), 1u);
  EXPECT_THAT(log[0].output, StartsWith("xxxx"));
  EXPECT_THAT(log[0].output, EndsWith("x\n[the output of 100000 bytes was cut here]\n"));
  EXPECT_GT(log[0].output.size(), SCH_LOG_SIZE_DEFAULT / 2 - 400u);
}

TEST(JobLog, what_was_not_kept_of_an_output_is_told_and_the_services_remark_comes_last) {
  World world;
  service::LogRecord cut = record("cut", "kept");
  cut.output_total = 1000;
  cut.remark = "stopped: too long";
  world.parts->log.append(cut);
  service::LogRecord remark = record("remark", "no line end");
  remark.remark = "ended";
  world.parts->log.append(remark);
  const std::vector<Logged> log = log_of(world);
  ASSERT_EQ(log.size(), 2u);
  EXPECT_EQ(log[0].output, "kept\n[the output of 1000 bytes was cut here]\n[stopped: too long]\n");
  EXPECT_EQ(log[1].output, "no line end\n[ended]\n");
}

TEST(JobLog, a_shrunk_log_keeps_the_newest_records_that_fit_and_a_grown_one_all) {
  World world;
  for (int i = 0; i < 9; i++)
    world.parts->log.append(record("job" + std::to_string(i), std::string(150, 'x')));
  ASSERT_EQ(jobs(world).size(), 9u);
  ASSERT_EQ(resize(world, service::log_size_min), 0u);
  EXPECT_THAT(jobs(world), ElementsAre("job6", "job7", "job8"));
  EXPECT_EQ(sch_log_file.entry_count, 3u);
  ASSERT_EQ(resize(world, 65536), 0u);
  EXPECT_THAT(jobs(world), ElementsAre("job6", "job7", "job8"));
  world.restart();
  EXPECT_THAT(jobs(world), ElementsAre("job6", "job7", "job8"));
  EXPECT_EQ(sch_log_file.size, 65536);
  const host::Answer shown = world.send(root(), SCH_SERVICE_SHOW, SCH_OP_SHOW_LOG_CONFIG, {});
  ASSERT_TRUE(shown.reply);
  EXPECT_EQ(*shown.reply, bytes(std::string_view("\0\0\1\0", 4)));
}

TEST(JobLog, a_cleared_log_is_empty_also_after_a_restart) {
  World world;
  world.parts->log.append(record("a", "x"));
  ASSERT_EQ(clear(world), 0u);
  EXPECT_THAT(jobs(world), ElementsAre());
  world.restart();
  EXPECT_THAT(jobs(world), ElementsAre());
  EXPECT_EQ(sch_log_file.entry_count, 0u);
}

TEST(JobLog, a_renamed_log_takes_its_records_along_and_leaves_nothing_behind) {
  World world;
  const std::string state = world.directory.path() + "/state/";
  world.parts->log.append(record("a", "x"));
  ASSERT_EQ(rename_to(world, "flash:runs/today.log"), 0u);
  EXPECT_TRUE(std::filesystem::exists(state + "flash/runs/today.log"));
  EXPECT_FALSE(std::filesystem::exists(state + SCH_LOG_NAME_DEFAULT));
  world.parts->log.append(record("b", "y"));
  world.restart();
  EXPECT_THAT(jobs(world), ElementsAre("a", "b"));
  ASSERT_EQ(world
                .send(root(), SCH_SERVICE_CONFIG, SCH_OP_RENAME_LOG,
                      log_payload(SCH_LOG_NAME_DEFAULT, SCH_LOG_URI_DEFAULT, 0))
                .status,
            0u);
  EXPECT_THAT(jobs(world), ElementsAre("a", "b"));
  EXPECT_TRUE(std::filesystem::exists(state + SCH_LOG_NAME_DEFAULT));
}

TEST(JobLog, a_file_that_is_there_is_never_taken_as_the_new_log) {
  World world;
  std::filesystem::create_directories(world.directory.path() + "/state/flash");
  const std::string path = world.directory.path() + "/state/flash/mine";
  std::ofstream(path) << "mine";
  EXPECT_EQ(rename_to(world, "flash:mine"), SCH_STATUS_EXISTS);
  std::string content;
  std::ifstream(path) >> content;
  EXPECT_EQ(content, "mine");
}

// The three replacements, stopped between the store's commit and the file's move: the next start finishes them.
TEST(JobLog, a_replacement_that_a_crash_stopped_is_finished_at_the_next_start) {
  World world;
  const std::string path = world.directory.path() + "/state/" + SCH_LOG_NAME_DEFAULT;
  world.parts->log.append(record("a", "x"));
  const std::string before = path + ".before";
  std::filesystem::copy(path, before);
  ASSERT_EQ(clear(world), 0u);
  std::filesystem::rename(path, path + ".next");
  std::filesystem::rename(before, path);
  world.restart();
  EXPECT_THAT(jobs(world), ElementsAre());
  EXPECT_FALSE(std::filesystem::exists(path + ".next"));
}

// Of a replacement that was never stored.
TEST(JobLog, a_left_over_draft_is_not_taken_for_the_log_even_when_that_is_gone) {
  World world;
  const std::string path = world.directory.path() + "/state/" + SCH_LOG_NAME_DEFAULT;
  for (const bool is_there : {true, false}) {
    const service::JobLog::Draft draft = *world.parts->log.prepare(sch_log_file, service::JobLog::Keep::records);
    world.parts->log.append(record("kept", "x"));
    world.stop();
    if (!is_there) std::filesystem::remove(path);
    world.start();
    EXPECT_EQ(jobs(world).empty(), !is_there);
    EXPECT_FALSE(std::filesystem::exists(path + ".next"));
    world.restart();
    EXPECT_EQ(jobs(world).empty(), !is_there);
  }
}

TEST(JobLog, a_replacement_that_the_store_refuses_changes_nothing) {
  World world;
  world.parts->log.append(record("a", "x"));
  const std::string before = configuration();
  for (int nth = 1;; nth++) {
    fail_store_call(nth);
    const uint32_t status = clear(world);
    if (!store_call_failed()) break;
    EXPECT_EQ(status, control::err_not_stored);
    EXPECT_EQ(configuration(), before);
    EXPECT_THAT(jobs(world), ElementsAre("a"));
    EXPECT_FALSE(std::filesystem::exists(world.directory.path() + "/state/" SCH_LOG_NAME_DEFAULT ".next"));
  }
  fail_store_call(0);
}

TEST(JobLog, a_damaged_file_is_put_aside_and_not_overwritten) {
  World world;
  world.stop();
  const std::string state = world.directory.path() + "/state", path = state + "/" + SCH_LOG_NAME_DEFAULT;
  std::ofstream(path, std::ios::trunc) << "no log";
  world.start();
  EXPECT_THAT(jobs(world), ElementsAre());
  std::string content;
  std::ifstream aside(path + ".damaged-" + std::to_string(noon));
  std::getline(aside, content);
  EXPECT_EQ(content, "no log");
}

TEST(JobLog, an_entry_above_the_messages_size_comes_in_pieces_that_add_up) {
  World world;
  ASSERT_EQ(resize(world, 1024 * 1024), 0u);
  std::string output;
  for (int i = 0; output.size() < 3 * service::log_piece_limit; i++)
    output += std::to_string(i) + "\n";
  world.parts->log.append(record("long", output));
  world.parts->log.append(record("short", "x\n"));
  const host::Answer answer = world.send(root(), SCH_SERVICE_SHOW, SCH_OP_SHOW_LOG, show_payload());
  size_t messages = 0;
  while (const std::optional<Bytes> message = answer.next()) {
    EXPECT_LE(message->size(), sizeof(sch_log_entry) + service::log_piece_limit);
    messages++;
  }
  EXPECT_EQ(messages, 5u);
  const std::vector<Logged> log = log_of(world);
  ASSERT_EQ(log.size(), 2u);
  EXPECT_EQ(log[0].output, output);
  EXPECT_EQ(log[1].output, "x\n");
}

TEST(JobLog, an_empty_log_is_one_message_with_a_count_of_zero) {
  World world;
  const host::Answer answer = world.send(root(), SCH_SERVICE_SHOW, SCH_OP_SHOW_LOG, show_payload());
  const std::optional<Bytes> message = answer.next();
  ASSERT_TRUE(message);
  EXPECT_EQ(*message, Bytes(sizeof(sch_log_entry)));
  EXPECT_EQ(answer.next(), std::nullopt);
}

TEST(JobLog, a_stream_reaches_its_announced_count_when_runs_overwrite_what_it_shows) {
  World world;
  ASSERT_EQ(resize(world, service::log_size_min), 0u);
  for (const char *job : {"a", "b", "c"})
    world.parts->log.append(record(job, std::string(100, 'x')));
  const host::Answer answer = world.send(root(), SCH_SERVICE_SHOW, SCH_OP_SHOW_LOG, show_payload());
  ASSERT_TRUE(answer.next());
  for (const char *job : {"d", "e", "f"})
    world.parts->log.append(record(job, std::string(100, 'x')));
  const std::optional<Bytes> second = answer.next(), third = answer.next();
  ASSERT_TRUE(second && third);
  const auto *entry = reinterpret_cast<const sch_log_entry *>(third->data());
  EXPECT_EQ(entry->number, 3u);
  EXPECT_EQ(entry->count, 3u);
  EXPECT_STREQ(entry->job, "-");
  EXPECT_EQ(answer.next(), std::nullopt);
}

TEST(JobLog, a_name_selects_the_entries_of_that_schedule_or_job) {
  World world;
  world.parts->log.append(record("a", ""));
  world.parts->log.append(record("b", ""));
  EXPECT_EQ(log_of(world, root(), "a").size(), 1u);
  EXPECT_EQ(log_of(world, root(), "schedule").size(), 2u);
  EXPECT_EQ(log_of(world, root(), "sched").size(), 0u);
}

}  // namespace
}  // namespace service_test
