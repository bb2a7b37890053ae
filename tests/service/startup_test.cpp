// SPDX-License-Identifier: Apache-2.0
// Restarts and boots: what is found again, and what is not inherited.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "control/operations.h"
#include "host/status.h"
#include "service/request/control.h"
#include "service/request/logging_level.h"
#include "service/run/outcome.h"
#include "service/state/left_out.h"
#include "service/state/statuses.h"
#include "service/state/tables.h"
#include "tests/service/operator_requests.h"
#include "tests/service/store_faults.h"
#include "tests/service/world.h"

namespace service_test {
namespace {

using ::testing::SizeIs;

constexpr uint32_t config = SCH_SERVICE_CONFIG;
constexpr time_t minute = 60, day = 86400;

uint32_t control(World &world, control::Operation operation, const Bytes &payload = {}) {
  return service::control({world.parts->context, root()}, operation, payload).status;
}

void save_startup(World &world) {
  ASSERT_EQ(control(world, control::Operation::copy_running_startup), 0u);
}

std::string without_log_place(const std::string &text) {
  return text.substr(0, text.rfind("\nlog "));
}

struct Startup : ::testing::Test {
  World world;
  Startup() { world.settings.boot_from = service::BootFrom::startup; }

  // The contents of the files in which boots have kept what they left out.
  std::string left_out() const {
    std::string text;
    for (const auto &entry : std::filesystem::directory_iterator(world.directory.path() + "/state"))
      if (entry.path().filename().string().starts_with("boot-left-out-")) {
        EXPECT_EQ(entry.status().permissions(), std::filesystem::perms(0600));
        std::ostringstream content;
        content << std::ifstream(entry.path()).rdbuf();
        text += content.str();
      }
    return text;
  }

  // A record of each kind, those that the library's save after a boot leaves out among them.
  void configure() {
    Bytes transport(712);
    std::memcpy(transport.data(), "from@example.org", 16);
    std::memcpy(transport.data() + 64, "reply@example.org", 17);
    std::memcpy(transport.data() + 192, "mail.example.org", 16);
    const uint32_t kind = __builtin_bswap32(2), port = __builtin_bswap32(587);
    std::memcpy(transport.data() + 448, &kind, sizeof kind);
    std::memcpy(transport.data() + 452, &port, sizeof port);
    ASSERT_EQ(world.send(root(), config, SCH_OP_SET_EMAIL_FROM, transport).status, 0u);
    ASSERT_EQ(world.send(root(), config, SCH_OP_SET_EMAIL_REPLYTO, transport).status, 0u);
    ASSERT_EQ(world.send(root(), config, SCH_OP_SET_EMAIL_SMTP, transport).status, 0u);
    ASSERT_EQ(create_job(world, "with-text", std::string(2500, 'x') + "\n"), 0u);
    ASSERT_EQ(create_job(world, "without-text", ""), 0u);
    ASSERT_EQ(create_schedule(world, "s", {"with-text", "without-text"}, daily(12, 30)), 0u);
    ASSERT_EQ(world.send(root(), config, SCH_OP_SCHEDULE_EMAIL, address_payload(SCH_EMAIL_ADD, "s", "ops@example.org"))
                  .status,
              0u);
    const int32_t level = 6;
    Bytes payload(sizeof level);
    std::memcpy(payload.data(), &level, sizeof level);
    ASSERT_EQ(control(world, control::Operation::set_logging_level, payload), 0u);
  }
};

TEST_F(Startup, a_restart_finds_everything_again) {
  configure();
  const std::string before = configuration();
  world.restart();
  EXPECT_EQ(configuration(), before);
  EXPECT_EQ(service::logging_level(debug_pss_running), 6);
}

TEST_F(Startup, a_boot_from_the_saved_configuration_and_every_restart_after_it_find_all_of_it) {
  configure();
  save_startup(world);
  const std::string saved = configuration();
  world.boot();
  EXPECT_EQ(without_log_place(configuration()), without_log_place(saved));
  EXPECT_EQ(service::logging_level(debug_pss_running), 6);
  world.restart();
  EXPECT_EQ(without_log_place(configuration()), without_log_place(saved));
  EXPECT_EQ(scheduler_enabled, 1);
}

TEST_F(Startup, a_boot_takes_as_many_commits_with_many_schedules_as_with_few) {
  const auto commits_of_boot = [this](int schedules) {
    for (int i = 0; i < schedules; i++)
      EXPECT_EQ(create_schedule(world, "s-" + std::to_string(schedules) + "-" + std::to_string(i), {}, daily(13, 0)),
                0u);
    save_startup(world);
    const int before = store_syncs();
    world.boot();
    return store_syncs() - before;
  };
  const int with_one = commits_of_boot(1);
  EXPECT_GT(with_one, 0);
  EXPECT_EQ(with_one, commits_of_boot(30));
}

TEST_F(Startup, a_boot_brings_back_nothing_that_was_not_saved) {
  configure();
  save_startup(world);
  ASSERT_EQ(create_job(world, "unsaved", "x\n"), 0u);
  ASSERT_EQ(create_schedule(world, "unsaved", {"unsaved"}, daily(13, 0)), 0u);
  world.boot();
  EXPECT_EQ(service::find_job("unsaved"), nullptr);
  EXPECT_EQ(service::find_schedule("unsaved"), nullptr);
  world.restart();
  EXPECT_EQ(service::find_job("unsaved"), nullptr);
  EXPECT_EQ(service::find_schedule("unsaved"), nullptr);
}

TEST_F(Startup, a_boot_that_goes_on_with_the_running_configuration_loses_nothing_that_was_not_saved) {
  configure();
  save_startup(world);
  ASSERT_EQ(create_job(world, "unsaved", "x\n"), 0u);
  const std::string before = configuration();
  world.settings.boot_from = service::BootFrom::running;
  world.boot();
  EXPECT_EQ(configuration(), before);
  EXPECT_EQ(left_out(), "");
}

TEST_F(Startup, what_a_boot_leaves_out_is_kept_as_commands_with_their_owners) {
  configure();
  save_startup(world);
  ASSERT_EQ(create_job(world, "unsaved", "first\nscheduler schedule name in-the-text\n", nobody()), 0u);
  ASSERT_EQ(create_schedule(world, "late", {"unsaved"}, daily(13, 0), nobody()), 0u);
  ASSERT_EQ(create_schedule(world, "without-time", {}, {}), 0u);
  ASSERT_EQ(world.send(root(), config, SCH_OP_DEFINE_JOB, job_payload("with-text", "changed\n")).status, 0u);
  world.boot();
  EXPECT_THAT(left_out(), ::testing::EndsWith("\n! owner: root\nscheduler job name with-text\nchanged\nend-job\n"
                                              "\n! owner: nobody\nscheduler job name unsaved\nfirst\n"
                                              "scheduler schedule name in-the-text\nend-job\n"
                                              "\n! owner: nobody\nscheduler schedule name late\n job name unsaved\n"
                                              "  time daily 13:00\n"
                                              "\n! owner: root\nscheduler schedule name without-time\n"));
  EXPECT_EQ(service::find_job("unsaved"), nullptr);
}

TEST_F(Startup, what_a_boot_leaves_out_says_which_schedules_were_disabled) {
  configure();
  save_startup(world);
  ASSERT_EQ(control(world, control::Operation::disable_schedule, bytes("s")), 0u);
  world.boot();
  EXPECT_THAT(left_out(), ::testing::EndsWith("\nscheduler disable schedule s\n"));
  EXPECT_TRUE(service::is_enabled(*service::find_schedule("s")->rec));
}

TEST_F(Startup, a_boot_that_leaves_nothing_out_keeps_nothing) {
  configure();
  save_startup(world);
  world.boot();
  EXPECT_EQ(left_out(), "");
}

TEST_F(Startup, what_cannot_be_kept_is_not_dropped) {
  configure();
  save_startup(world);
  ASSERT_EQ(create_job(world, "unsaved", "x\n"), 0u);
  world.stop();
  // The name that the file is made under is taken by something that cannot be replaced.
  const std::string beside = world.directory.path() + "/state/boot-left-out-20261121-120000.conf.new/full";
  std::filesystem::create_directories(beside);
  std::filesystem::remove(world.directory.path() + "/state/boot");
  std::string error;
  EXPECT_NE(world.try_start(&error), 0u);
  EXPECT_THAT(error, ::testing::HasSubstr("boot-left-out-20261121-120000.conf"));
  std::filesystem::remove_all(world.directory.path() + "/state/boot-left-out-20261121-120000.conf.new");
  world.settings.boot_from = service::BootFrom::running;
  world.start();
  EXPECT_NE(service::find_job("unsaved"), nullptr);
}

TEST_F(Startup, a_state_directory_that_vanished_or_was_replaced_takes_no_change) {
  ASSERT_EQ(create_job(world, "before", "x\n"), 0u);
  ASSERT_EQ(create_schedule(world, "s", {"before"}, {}), 0u);
  const std::string state = world.directory.path() + "/state", moved = world.directory.path() + "/moved";
  std::filesystem::rename(state, moved);
  EXPECT_EQ(create_job(world, "after", ""), host::err_store_gone);
  std::filesystem::copy(moved, state, std::filesystem::copy_options::recursive);
  EXPECT_EQ(create_job(world, "after", ""), host::err_store_gone);
  EXPECT_EQ(service::find_job("after"), nullptr);
  EXPECT_EQ(ask(world, control::Operation::run_schedule, bytes("s")).status, host::err_store_gone);
  std::filesystem::remove_all(state);
  std::filesystem::rename(moved, state);
  EXPECT_EQ(create_job(world, "after", ""), 0u);
}

std::string status_for(World &world, const host::Caller &caller) {
  const host::Answer answer = service::control({world.parts->context, caller}, control::Operation::status, {});
  if (answer.status != 0 || !answer.reply) return "(no reply)";
  return {reinterpret_cast<const char *>(answer.reply->data()), answer.reply->size()};
}

TEST_F(Startup, the_status_shows_everybodys_share_to_the_administrator_and_to_others_their_own) {
  ASSERT_EQ(create_job(world, "a", "x\n", nobody()), 0u);
  ASSERT_EQ(create_schedule(world, "late", {"a"}, daily(13, 0), nobody()), 0u);
  ASSERT_EQ(create_schedule(world, "early", {}, {}), 0u);
  const std::string all = status_for(world, root()), own = status_for(world, nobody()),
                    none = status_for(world, daemon_user());
  EXPECT_THAT(all,
              ::testing::MatchesRegex("version: 1\\.[^\n]*\nmode: active\nstarted: [^\n]*\nsettings: [^\n]*\nzone: "
                                      "UTC\nenabled: yes\n(.|\n)*"));
  EXPECT_THAT(all, ::testing::HasSubstr("\nenabled: yes\nboot from: running\n"));
  EXPECT_THAT(all, ::testing::HasSubstr("\nschedules: 2\nruns under way: 0\nruns waiting: 0\nrunning store: "));
  EXPECT_THAT(all, ::testing::HasSubstr("\nstartup store: none\njob log: 16384 bytes\n"));
  EXPECT_THAT(all, ::testing::HasSubstr("\nnext due: Sat Nov 21 13:00:00 2026, schedule late\n"));
  EXPECT_THAT(all, ::testing::HasSubstr("\nshare of root: schedules 1, jobs 0, runs 0, waiting 0\n"));
  EXPECT_THAT(all, ::testing::EndsWith("\nshare of nobody: schedules 1, jobs 1, runs 0, waiting 0\n"));
  EXPECT_THAT(own, ::testing::EndsWith("\nboot from: running\nnext due: Sat Nov 21 13:00:00 2026, schedule late\n"
                                       "share of nobody: schedules 1, jobs 1, runs 0, waiting 0\n"));
  EXPECT_THAT(none, ::testing::EndsWith("\nnext due: none\nshare of daemon: schedules 0, jobs 0, runs 0, waiting 0\n"));
}

TEST(Blocks, a_configuration_is_split_into_jobs_schedules_and_lines) {
  std::string names;
  for (const auto &block : service::blocks_of("feature scheduler\nscheduler logfile size 20\n\nscheduler job name j\n"
                                              "\nscheduler schedule name no\nend-job\n\n"
                                              "scheduler schedule name a\n job name j\n  \n"
                                              "scheduler schedule name b\n  email-addr x@y\n\n"))
    names += block.name + "|" + std::to_string(block.text.size()) + ";";
  EXPECT_EQ(names, "feature scheduler|18;scheduler logfile size 20|26;job j|57;schedule a|38;schedule b|43;");
}

TEST_F(Startup, a_boot_without_a_saved_configuration_loses_nothing) {
  configure();
  const std::string before = configuration();
  world.boot();
  EXPECT_EQ(configuration(), before);
}

// The saved configuration is as old as the command that saved it.
TEST_F(Startup, a_boot_calls_nothing_missed_that_has_run_since_the_configuration_was_saved) {
  ASSERT_EQ(create_job(world, "job", "echo\n"), 0u);
  ASSERT_EQ(create_schedule(world, "s", {"job"}, daily(12, 30)), 0u);
  save_startup(world);
  due_now(world, noon + 30 * minute);
  due_now(world, noon + 30 * minute + day);
  set_clock(noon + 40 * minute + day);
  world.boot();
  EXPECT_THAT(log_of(world), SizeIs(2));
  EXPECT_EQ(state_of_schedule("s").next_due, noon + 30 * minute + 2 * day);
  EXPECT_EQ(state_of_schedule("s").last_completion, noon + 30 * minute + day);
}

TEST_F(Startup, a_boot_gives_no_job_the_history_of_another_that_had_its_slot) {
  ASSERT_EQ(create_job(world, "saved", "echo\n"), 0u);
  ASSERT_EQ(create_schedule(world, "s", {"saved"}, daily(12, 30)), 0u);
  save_startup(world);
  ASSERT_EQ(world.send(root(), config, SCH_OP_DELETE_JOB, job_payload("saved")).status, 0u);
  ASSERT_EQ(create_job(world, "later", "exit 9\n"), 0u);
  ASSERT_EQ(
      world.send(root(), config, SCH_OP_MODIFY_SCHEDULE, modify_payload("s", SCH_MODIFY_JOB, false, "later")).status,
      0u);
  due_now(world, noon + 30 * minute);
  ASSERT_NE(sch_job_list[0].status_list, nullptr);
  set_clock(noon + 31 * minute);
  world.boot();
  ASSERT_EQ(service::name_of(*sch_job_list[0].key), "saved");
  EXPECT_EQ(sch_job_list[0].status_list, nullptr);
}

TEST_F(Startup, a_boot_keeps_the_history_of_jobs_that_are_the_same) {
  ASSERT_EQ(create_job(world, "job", "exit 4\n"), 0u);
  ASSERT_EQ(create_schedule(world, "s", {"job"}, daily(12, 30)), 0u);
  save_startup(world);
  due_now(world, noon + 30 * minute);
  set_clock(noon + 31 * minute);
  world.boot();
  ASSERT_NE(service::find_status(sch_job_list[0], "s"), nullptr);
  EXPECT_EQ(service::find_status(sch_job_list[0], "s")->words[0], 4u << 8);
}

void store_status(const char *schedule, uint32_t id) {
  sch_runtime_job_status status = {};
  std::strcpy(status.schedule_name, schedule);
  status.job_id = id;
  ASSERT_EQ(sch_save_runtime_job_status_entry_to_pss(pss_running_db, &status), 0);
}

// What a crash between the commits of the two stores leaves.
TEST_F(Startup, statuses_without_their_job_or_schedule_are_purged_at_the_start) {
  ASSERT_EQ(create_job(world, "job", "echo\n"), 0u);
  ASSERT_EQ(create_schedule(world, "s", {"job"}, daily(12, 30)), 0u);
  due_now(world, noon + 30 * minute);
  const int live = 5;  // the status and whose it is, the run state, a page of the history, the counters
  ASSERT_EQ(stored_records(pss_running_db), live);
  store_status("s", 1);     // no such job
  store_status("gone", 0);  // no such schedule
  store_status("s", 300);   // no such slot
  world.restart();
  EXPECT_EQ(stored_records(pss_running_db), live);
  EXPECT_EQ(g_list_length(sch_job_list[0].status_list), 1u);
}

void store_job_record(uint32_t fragment, const std::string &name, void *value, size_t length) {
  sch_config_key key = {SCH_CONFIG_JOB, fragment, {}};
  name.copy(key.name, sizeof key.name - 1);
  sch_hton_config_key(&key);
  const pss_buf stored_key = {&key, sizeof key}, stored = {value, static_cast<uint32_t>(length)};
  ASSERT_EQ(pss_store(pss_running, 1, &stored_key, &stored), 0u);
}

struct DamagedJob {
  const char *what;
  uint32_t announced;
  std::vector<std::string> fragments;
  std::string text;
};

TEST_F(Startup, a_job_of_a_damaged_store_has_the_text_that_is_there) {
  const std::string full(SCH_FRAGMENT_SIZE, 'x');
  DamagedJob rows[] = {
      {"announces-too-much", 4000000000, {full, "rest\n"}, full + "rest\n" + std::string(1024 - 5, '\0')},
      {"first-fragment-short", 1024 + 5, {"abc", "rest\n"}, "abc" + std::string(1021, '\0') + "rest\n"},
      {"no-fragment", 20, {}, ""},
      {"too-many-fragments", 3, {full, full}, "xxx"},
      {"whole", 1024 + 5, {full, "rest\n"}, full + "rest\n"},
  };
  uint32_t id = 0;
  for (DamagedJob &row : rows) {
    uint32_t words[] = {id++, 1, row.announced};
    store_job_record(0, row.what, words, sizeof words);
    uint32_t number = 0;
    for (std::string &fragment : row.fragments)
      store_job_record(++number, row.what, fragment.data(), fragment.size());
  }
  world.restart();
  for (const DamagedJob &row : rows)
    EXPECT_EQ(shown_text(world, row.what), row.text) << row.what;
}

TEST_F(Startup, schedules_keep_their_order_over_a_restart) {
  for (const char *name : {"zebra", "ant", "monkey"})
    ASSERT_EQ(create_schedule(world, name, {}, {}), 0u);
  world.restart();
  std::string names;
  service::for_each_schedule([&](const sch_schedule_entry &entry) { names += service::name_of(*entry.key) + " "; });
  EXPECT_EQ(names, "zebra ant monkey ");
}

TEST_F(Startup, records_of_another_origin_are_mended) {
  ASSERT_EQ(create_schedule(world, "a", {}, {}), 0u);
  ASSERT_EQ(create_schedule(world, "b", {}, {}), 0u);
  for (const char *name : {"a", "b"}) {
    sch_schedule_entry *entry = service::find_schedule(name);
    entry->rec->service_head[0] = 7;
    entry->rec->jobs[200 / 32] |= 1u << (200 % 32);
    std::memset(entry->rec->service_tail, 'x', 32);
    ASSERT_EQ(sch_save_schedule_entry_to_pss(pss_running, entry), 0);
  }
  world.restart();
  EXPECT_EQ(service::schedule_number(*service::find_schedule("a")->rec), 7u);
  EXPECT_EQ(service::schedule_number(*service::find_schedule("b")->rec), 8u);
  EXPECT_FALSE(service::has_job(*service::find_schedule("a")->rec, 200));
  EXPECT_EQ(strnlen(state_of_schedule("a").owner, sizeof state_of_schedule("a").owner), 31u);
}

}  // namespace
}  // namespace service_test
