// SPDX-License-Identifier: Apache-2.0
// Configuration requests: what they change, who may make them, and that a store that refuses leaves everything as it
// was.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <functional>

#include "control/operations.h"
#include "control/statuses.h"
#include "host/files/paths.h"
#include "host/status.h"
#include "host/store/store.h"
#include "service/limits.h"
#include "service/request/control.h"
#include "service/state/tables.h"
#include "tests/host/store_commits.h"
#include "tests/service/store_faults.h"
#include "tests/service/world.h"

namespace service_test {
namespace {

constexpr uint32_t config = SCH_SERVICE_CONFIG;

uint32_t job(World &world, uint32_t opcode, const std::string &name, const std::string &text = {},
             const host::Caller &caller = root()) {
  return world.send(caller, config, opcode, job_payload(name, text)).status;
}

uint32_t modify(World &world, const Bytes &payload, const host::Caller &caller = root()) {
  return world.send(caller, config, SCH_OP_MODIFY_SCHEDULE, payload).status;
}

uint32_t address(World &world, uint8_t operation, const std::string &schedule, const std::string &text,
                 const host::Caller &caller = root()) {
  return world.send(caller, config, SCH_OP_SCHEDULE_EMAIL, address_payload(operation, schedule, text)).status;
}

uint32_t feature(World &world, bool enable, const host::Caller &caller = root()) {
  const auto operation = enable ? control::Operation::enable_feature : control::Operation::disable_feature;
  return service::control({world.parts->context, caller}, operation, {}).status;
}

TEST(Requests, texts_around_the_fragment_size_are_kept_byte_for_byte_over_a_restart) {
  World world;
  for (const size_t size : {0, 1, 1023, 1024, 1025, 2048, 2500}) {
    std::string text(size, 'x');
    for (size_t i = 0; i < size; i += 7)
      text[i] = '\n';
    const std::string name = "job" + std::to_string(size);
    ASSERT_EQ(create_job(world, name, text), 0u);
    ASSERT_EQ(shown_text(world, name), text) << size;
    world.restart();
    ASSERT_EQ(shown_text(world, name), text) << size;
  }
}

TEST(Requests, a_shorter_text_leaves_no_fragment_of_the_longer_one_behind) {
  World world;
  ASSERT_EQ(create_job(world, "a", ""), 0u);
  const int empty = stored_records(pss_running);
  ASSERT_EQ(job(world, SCH_OP_DEFINE_JOB, "a", std::string(5000, 'x')), 0u);
  EXPECT_EQ(stored_records(pss_running), empty + 5);
  ASSERT_EQ(job(world, SCH_OP_DEFINE_JOB, "a", std::string(1025, 'x')), 0u);
  EXPECT_EQ(stored_records(pss_running), empty + 2);
  ASSERT_EQ(job(world, SCH_OP_DEFINE_JOB, "a", ""), 0u);
  EXPECT_EQ(stored_records(pss_running), empty);
}

TEST(Requests, a_full_job_table_is_said_and_a_deleted_slot_is_used_again) {
  World world;
  for (int i = 0; i < SCH_MAX_JOBS; i++)
    ASSERT_EQ(create_job(world, "job" + std::to_string(i), ""), 0u) << i;
  EXPECT_EQ(create_job(world, "one-more", ""), control::err_job_table_full);
  ASSERT_EQ(job(world, SCH_OP_DELETE_JOB, "job17"), 0u);
  EXPECT_EQ(create_job(world, "one-more", ""), 0u);
  EXPECT_STREQ(sch_job_list[17].key->name, "one-more");
}

TEST(Requests, a_deleted_job_leaves_every_schedule) {
  World world;
  ASSERT_EQ(create_job(world, "a", ""), 0u);
  ASSERT_EQ(create_job(world, "b", ""), 0u);
  for (const char *name : {"s", "t"})
    ASSERT_EQ(create_schedule(world, name, {"a", "b"}, daily(13, 0)), 0u);
  ASSERT_EQ(job(world, SCH_OP_DELETE_JOB, "a"), 0u);
  ASSERT_EQ(create_job(world, "c", ""), 0u);  // in the same slot
  world.restart();
  for (const char *name : {"s", "t"}) {
    EXPECT_FALSE(service::has_job(*service::find_schedule(name)->rec, 0));
    EXPECT_TRUE(service::has_job(*service::find_schedule(name)->rec, 1));
  }
}

TEST(Requests, a_new_job_in_a_used_slot_inherits_no_history) {
  World world;
  ASSERT_EQ(create_job(world, "a", "exit 3\n"), 0u);
  ASSERT_EQ(create_schedule(world, "s", {"a"}, daily(12, 1)), 0u);
  due_now(world, noon + 60);
  ASSERT_NE(sch_job_list[0].status_list, nullptr);
  ASSERT_EQ(job(world, SCH_OP_DELETE_JOB, "a"), 0u);
  ASSERT_EQ(create_job(world, "b", ""), 0u);
  EXPECT_EQ(sch_job_list[0].status_list, nullptr);
  world.restart();
  EXPECT_EQ(sch_job_list[0].status_list, nullptr);
  EXPECT_EQ(stored_records(pss_running_db), 3);  // of the schedule's runs: their state, their history, the counters
}

TEST(Requests, a_new_schedule_of_an_old_name_inherits_no_history) {
  World world;
  ASSERT_EQ(create_job(world, "a", "exit 3\n"), 0u);
  ASSERT_EQ(create_schedule(world, "s", {"a"}, daily(12, 1)), 0u);
  due_now(world, noon + 60);
  ASSERT_EQ(world.send(root(), config, SCH_OP_DELETE_SCHEDULE, schedule_payload("s")).status, 0u);
  ASSERT_EQ(create_schedule(world, "s", {"a"}, daily(12, 1)), 0u);
  EXPECT_EQ(sch_job_list[0].status_list, nullptr);
  world.restart();
  EXPECT_EQ(sch_job_list[0].status_list, nullptr);
}

TEST(Requests, clearing_the_time_disarms_and_setting_it_arms) {
  World world;
  ASSERT_EQ(create_schedule(world, "s", {}, daily(13, 30)), 0u);
  const sch_schedule_rec &rec = *service::find_schedule("s")->rec;
  EXPECT_EQ(service::state_of(rec).next_due, noon + 90 * 60);
  ASSERT_EQ(modify(world, time_payload("s", daily(11, 0))), 0u);
  EXPECT_EQ(service::state_of(rec).next_due, noon + 23 * 3600);
  ASSERT_EQ(modify(world, modify_payload("s", SCH_MODIFY_CLEAR_TIME, true, "")), 0u);
  EXPECT_EQ(service::state_of(rec).next_due, 0u);
  EXPECT_EQ(rec.time.type, 0u);
}

void set_limits(World &world, void (*change)(service::Settings &)) {
  service::Settings settings;
  change(settings);
  world.parts->context.settings = std::make_shared<const service::Settings>(settings);
}

TEST(Requests, schedules_of_one_user_are_limited_and_everybody_else_can_go_on) {
  World world;
  set_limits(world, [](service::Settings &settings) { settings.max_schedules_per_user = 20; });
  for (int i = 0; i < 20; i++)
    ASSERT_EQ(create_schedule(world, "s" + std::to_string(i), {}, {}, nobody()), 0u);
  EXPECT_EQ(create_schedule(world, "more", {}, {}, nobody()), control::err_too_many_own_schedules);
  EXPECT_EQ(create_schedule(world, "more", {}, {}, daemon_user()), 0u);
  ASSERT_EQ(world.send(nobody(), config, SCH_OP_DELETE_SCHEDULE, schedule_payload("s7")).status, 0u);
  EXPECT_EQ(create_schedule(world, "s7", {}, {}, nobody()), 0u);
  for (int i = 0; i < 21; i++)
    ASSERT_EQ(create_schedule(world, "root" + std::to_string(i), {}, {}), 0u);
}

TEST(Requests, schedules_of_all_are_limited_for_the_administrator_too) {
  World world;
  set_limits(world, [](service::Settings &settings) { settings.max_schedules = 2; });
  ASSERT_EQ(create_schedule(world, "a", {}, {}), 0u);
  ASSERT_EQ(create_schedule(world, "b", {}, {}, nobody()), 0u);
  EXPECT_EQ(create_schedule(world, "c", {}, {}, nobody()), control::err_too_many_schedules);
  EXPECT_EQ(create_schedule(world, "c", {}, {}), control::err_too_many_schedules);
}

TEST(Requests, jobs_of_one_user_are_limited_to_a_share_of_the_table) {
  World world;
  const int share = world.parts->context.settings->max_jobs_per_user;
  for (int i = 0; i < share; i++)
    ASSERT_EQ(create_job(world, "job" + std::to_string(i), "", nobody()), 0u);
  EXPECT_EQ(create_job(world, "more", "", nobody()), control::err_too_many_own_jobs);
  EXPECT_EQ(create_job(world, "more", "", daemon_user()), 0u);
  ASSERT_EQ(job(world, SCH_OP_DELETE_JOB, "job5", "", nobody()), 0u);
  EXPECT_EQ(create_job(world, "job5", "", nobody()), 0u);
}

TEST(Requests, a_text_and_a_log_beyond_what_is_configured_are_refused) {
  World world;
  set_limits(world, [](service::Settings &settings) {
    settings.job_text_bytes = 100;
    settings.log_size_kib = 32;
  });
  ASSERT_EQ(create_job(world, "a", std::string(100, 'x')), 0u);
  EXPECT_EQ(job(world, SCH_OP_DEFINE_JOB, "a", std::string(101, 'x')), control::err_text_too_long);
  const auto resize = [&](uint32_t size) {
    return world.send(root(), config, SCH_OP_RESIZE_LOG, log_payload("", "", size)).status;
  };
  EXPECT_EQ(resize(32 * 1024), 0u);
  EXPECT_EQ(resize(32 * 1024 + 1), control::err_log_too_large);
}

// Made here without their requests, each of which would be a durable commit.
TEST(Requests, a_hundred_thousand_schedules_are_served_when_they_are_allowed) {
  World world;
  constexpr int many = 100000;
  set_limits(world, [](service::Settings &settings) { settings.max_schedules = many + 1; });
  service::ScheduleState state = {};
  state.owner_tag = root().uid + 1;
  for (int i = 0; i < many; i++)
    ASSERT_NE(service::add_schedule("s" + std::to_string(i), state), nullptr);
  EXPECT_EQ(create_schedule(world, "one-more", {}, daily(13, 0)), 0u);
  EXPECT_EQ(create_schedule(world, "too-many", {}, {}), control::err_too_many_schedules);
  EXPECT_EQ(service::earliest_due(), noon + 3600);
  const host::Answer shown = world.send(root(), SCH_SERVICE_SHOW, SCH_OP_SHOW_SCHEDULE, show_payload("", many));
  ASSERT_TRUE(shown.reply);
  EXPECT_STREQ(reinterpret_cast<const sch_show_schedule_reply *>(shown.reply->data())->name, "one-more");
}

TEST(Requests, a_listing_goes_on_behind_a_schedule_that_was_deleted_meanwhile) {
  World world;
  for (const char *name : {"a", "b", "c"})
    ASSERT_EQ(create_schedule(world, name, {}, {}, nobody()), 0u);
  const auto shown = [&](const host::Caller &caller, int32_t cursor) {
    const host::Answer answer = world.send(caller, SCH_SERVICE_SHOW, SCH_OP_SHOW_SCHEDULE, show_payload("", cursor));
    sch_show_schedule_reply reply = {};
    if (answer.reply) std::memcpy(&reply, answer.reply->data(), sizeof reply);
    return reply;
  };
  for (const host::Caller &caller : {root(), nobody()}) {
    const int32_t cursor = shown(caller, shown(caller, -1).number).number;
    ASSERT_EQ(world.send(root(), config, SCH_OP_DELETE_SCHEDULE, schedule_payload("b")).status, 0u);
    EXPECT_STREQ(shown(caller, cursor).name, "c");
    ASSERT_EQ(world.send(root(), config, SCH_OP_DELETE_SCHEDULE, schedule_payload("c")).status, 0u);
    EXPECT_STREQ(shown(caller, cursor).name, "");
    for (const char *name : {"b", "c"})
      ASSERT_EQ(create_schedule(world, name, {}, {}, nobody()), 0u);
  }
}

TEST(Requests, addresses_are_matched_exactly_and_never_by_their_beginnings) {
  World world;
  ASSERT_EQ(create_schedule(world, "night", {}, {}), 0u);
  ASSERT_EQ(create_schedule(world, "nightly", {}, {}), 0u);
  ASSERT_EQ(address(world, SCH_EMAIL_ADD, "nightly", "ops@example.org"), 0u);
  ASSERT_EQ(address(world, SCH_EMAIL_ADD, "nightly", "ops@example.org.uk"), 0u);
  const std::string before = configuration();
  EXPECT_EQ(address(world, SCH_EMAIL_ADD, "nightly", "ops@example.org"), SCH_STATUS_EXISTS);
  EXPECT_EQ(address(world, SCH_EMAIL_REMOVE, "night", "ops@example.org"), control::err_no_such_address);
  EXPECT_EQ(address(world, SCH_EMAIL_REMOVE, "nightly", "ops@example.or"), control::err_no_such_address);
  EXPECT_EQ(configuration(), before);
  ASSERT_EQ(world.send(root(), config, SCH_OP_DELETE_SCHEDULE, schedule_payload("night")).status, 0u);
  ASSERT_EQ(address(world, SCH_EMAIL_REMOVE, "nightly", "ops@example.org"), 0u);
  EXPECT_EQ(address(world, SCH_EMAIL_REMOVE, "nightly", "ops@example.org"), control::err_no_such_address);
  ASSERT_EQ(address(world, SCH_EMAIL_REMOVE, "nightly", "ops@example.org.uk"), 0u);
  EXPECT_EQ(sch_schedule_email_list, nullptr);
  world.restart();
  EXPECT_EQ(sch_schedule_email_list, nullptr);
}

TEST(Requests, an_eleventh_address_is_refused_and_a_freed_slot_is_used_again) {
  World world;
  ASSERT_EQ(create_schedule(world, "s", {}, {}), 0u);
  for (int i = 0; i < SCH_MAX_EMAIL_IDS; i++)
    ASSERT_EQ(address(world, SCH_EMAIL_ADD, "s", "a" + std::to_string(i)), 0u);
  EXPECT_EQ(address(world, SCH_EMAIL_ADD, "s", "b"), control::err_too_many_addresses);
  ASSERT_EQ(address(world, SCH_EMAIL_REMOVE, "s", "a3"), 0u);
  ASSERT_EQ(address(world, SCH_EMAIL_ADD, "s", "b"), 0u);
  world.restart();
  const auto *entry = static_cast<const sch_schedule_email_entry *>(sch_schedule_email_list->data);
  EXPECT_STREQ(entry->slots[3].address, "b");
  EXPECT_EQ(entry->count, SCH_MAX_EMAIL_IDS);
}

TEST(Requests, the_mail_server_travels_in_network_order_and_goes_back_to_its_defaults) {
  World world;
  sch_email_transport wanted = {};
  std::strcpy(wanted.smtp.server, "mail.example.org");
  wanted.smtp.address_kind = __builtin_bswap32(16);
  wanted.smtp.port = __builtin_bswap32(2525);
  const Bytes payload(reinterpret_cast<std::byte *>(&wanted), reinterpret_cast<std::byte *>(&wanted + 1));
  ASSERT_EQ(world.send(root(), config, SCH_OP_SET_EMAIL_SMTP, payload).status, 0u);
  EXPECT_EQ(email_transport_conf.smtp.port, 2525u);
  EXPECT_EQ(email_transport_conf.smtp.address_kind, 16u);
  EXPECT_STREQ(email_transport_conf.smtp.vrf, "management");
  world.restart();
  const host::Answer shown = world.send(root(), SCH_SERVICE_SHOW, SCH_OP_SHOW_EMAIL_CONFIG, {});
  ASSERT_TRUE(shown.reply);
  ASSERT_EQ(shown.reply->size(), sizeof(sch_email_transport));
  const auto *conf = reinterpret_cast<const sch_email_transport *>(shown.reply->data());
  EXPECT_EQ(conf->smtp.port, __builtin_bswap32(2525));
  EXPECT_STREQ(conf->smtp.server, "mail.example.org");
  ASSERT_EQ(world.send(root(), config, SCH_OP_CLEAR_EMAIL_SMTP, Bytes(712)).status, 0u);
  EXPECT_EQ(email_transport_conf.smtp.port, 25u);
  EXPECT_EQ(email_transport_conf.smtp.address_kind, 1u);
  EXPECT_EQ(email_transport_conf.smtp.server[0], 0);
}

TEST(Requests, a_disabled_feature_refuses_configuration_shows_what_there_is_and_is_kept) {
  World world;
  ASSERT_EQ(create_job(world, "a", "x\n"), 0u);
  EXPECT_EQ(feature(world, true), host::err_feature_enabled);
  ASSERT_EQ(feature(world, false), 0u);
  EXPECT_EQ(feature(world, false), host::err_feature_disabled);
  EXPECT_EQ(create_job(world, "b", ""), control::err_disabled);
  world.restart();
  EXPECT_EQ(create_job(world, "b", ""), control::err_disabled);
  EXPECT_EQ(shown_text(world, "a"), "x\n");
  ASSERT_EQ(feature(world, true), 0u);
  EXPECT_EQ(create_job(world, "b", ""), 0u);
}

// Who may do what to root's and daemon's things.
TEST(Authority, everybody_works_with_their_own_and_the_administrator_with_everything) {
  World world;
  ASSERT_EQ(create_job(world, "roots", "x\n"), 0u);
  ASSERT_EQ(create_schedule(world, "roots", {}, {}), 0u);
  ASSERT_EQ(create_job(world, "daemons", "x\n", daemon_user()), 0u);
  ASSERT_EQ(create_schedule(world, "daemons", {}, {}, daemon_user()), 0u);
  const Bytes assign_own = modify_payload("daemons", SCH_MODIFY_JOB, false, "daemons");
  const Bytes assign_others = modify_payload("daemons", SCH_MODIFY_JOB, false, "roots");
  const Bytes sender(712, std::byte{0});
  struct {
    const char *what;
    host::Caller caller;
    uint32_t opcode;
    Bytes payload;
    uint32_t status;
  } const table[] = {
      {"nobody defines daemon's job", nobody(), SCH_OP_DEFINE_JOB, job_payload("daemons", "y\n"),
       control::err_not_owner},
      {"nobody deletes daemon's job", nobody(), SCH_OP_DELETE_JOB, job_payload("daemons"), control::err_not_owner},
      {"nobody takes daemon's name", nobody(), SCH_OP_CREATE_JOB, job_payload("daemons"), SCH_STATUS_EXISTS},
      {"nobody times daemon's schedule", nobody(), SCH_OP_MODIFY_SCHEDULE, time_payload("daemons", daily(1, 1)),
       control::err_not_owner},
      {"nobody deletes daemon's schedule", nobody(), SCH_OP_DELETE_SCHEDULE, schedule_payload("daemons"),
       control::err_not_owner},
      {"nobody adds an address to daemon's schedule", nobody(), SCH_OP_SCHEDULE_EMAIL,
       address_payload(SCH_EMAIL_ADD, "daemons", "a@b"), control::err_not_owner},
      {"daemon makes root's job run as daemon", daemon_user(), SCH_OP_MODIFY_SCHEDULE, assign_others,
       control::err_not_owner},
      {"root makes root's job run as daemon", root(), SCH_OP_MODIFY_SCHEDULE, assign_others, control::err_not_owner},
      {"daemon resizes the log", daemon_user(), SCH_OP_RESIZE_LOG, log_payload("", "", 65536), host::err_not_permitted},
      {"daemon clears the log", daemon_user(), SCH_OP_CLEAR_LOG, log_payload("", "", 0), host::err_not_permitted},
      {"daemon clears the sender", daemon_user(), SCH_OP_CLEAR_EMAIL_FROM, sender, host::err_not_permitted},
      {"a remote user without a password", remote_user(), SCH_OP_CREATE_JOB, job_payload("remotes"),
       SCH_STATUS_NO_PASSWORD},
      {"daemon assigns daemon's job", daemon_user(), SCH_OP_MODIFY_SCHEDULE, assign_own, 0},
      {"root defines daemon's job", root(), SCH_OP_DEFINE_JOB, job_payload("daemons", "z\n"), 0},
      {"root times daemon's schedule", root(), SCH_OP_MODIFY_SCHEDULE, time_payload("daemons", daily(1, 1)), 0},
  };
  for (const auto &row : table)
    EXPECT_EQ(world.send(row.caller, config, row.opcode, row.payload).status, row.status) << row.what;
  EXPECT_EQ(service::owner_of(sch_job_list[1]), daemon_user().uid + 1);  // root's change left it daemon's
  EXPECT_EQ(feature(world, false, daemon_user()), host::err_not_permitted);
  const auto copy = control::Operation::copy_running_startup;
  EXPECT_EQ(service::control({world.parts->context, daemon_user()}, copy, {}).status, host::err_not_permitted);
  EXPECT_EQ(service::control({world.parts->context, daemon_user()}, control::Operation::get_logging_level, {}).status,
            0u);
}

TEST(Authority, users_see_their_own_jobs_schedules_and_log_and_root_sees_all) {
  World world;
  ASSERT_EQ(create_job(world, "roots", "x\n"), 0u);
  ASSERT_EQ(create_job(world, "daemons", "x\n", daemon_user()), 0u);
  ASSERT_EQ(create_schedule(world, "roots", {"roots"}, {}), 0u);
  ASSERT_EQ(create_schedule(world, "daemons", {"daemons"}, {}, daemon_user()), 0u);
  const auto count = [&](const host::Caller &caller, uint32_t opcode, size_t cursor_offset) {
    int shown = 0;
    for (int32_t cursor = -1;; shown++) {
      const host::Answer answer = world.send(caller, SCH_SERVICE_SHOW, opcode, show_payload("", cursor));
      if (!answer.reply) return shown;
      std::memcpy(&cursor, answer.reply->data() + cursor_offset, sizeof cursor);
    }
  };
  EXPECT_EQ(count(root(), SCH_OP_SHOW_JOB, 32), 2);
  EXPECT_EQ(count(daemon_user(), SCH_OP_SHOW_JOB, 32), 1);
  EXPECT_EQ(count(nobody(), SCH_OP_SHOW_JOB, 32), 0);
  EXPECT_EQ(count(root(), SCH_OP_SHOW_SCHEDULE, 0), 2);
  EXPECT_EQ(count(daemon_user(), SCH_OP_SHOW_SCHEDULE, 0), 1);
  EXPECT_FALSE(world.send(nobody(), SCH_SERVICE_SHOW, SCH_OP_SHOW_JOB, show_payload("daemons")).reply);
  service::LogRecord record;
  record.job = "daemons";
  record.owner_tag = daemon_user().uid + 1;
  world.parts->log.append(record);
  EXPECT_EQ(log_of(world, root()).size(), 1u);
  EXPECT_EQ(log_of(world, daemon_user()).size(), 1u);
  EXPECT_EQ(log_of(world, nobody()).size(), 0u);
}

// Every request, with each of its store calls failing once: nothing has changed, in memory or on disk.
struct Request {
  const char *what;
  uint32_t opcode;
  Bytes payload;
};

void configure(World &world) {
  ASSERT_EQ(create_job(world, "a", std::string(3000, 'x')), 0u);
  ASSERT_EQ(create_schedule(world, "s", {"a"}, daily(13, 0)), 0u);
  ASSERT_EQ(create_schedule(world, "t", {"a"}, daily(13, 0)), 0u);
  ASSERT_EQ(address(world, SCH_EMAIL_ADD, "s", "one"), 0u);
  ASSERT_EQ(address(world, SCH_EMAIL_ADD, "s", "two"), 0u);
  ASSERT_EQ(address(world, SCH_EMAIL_ADD, "t", "one"), 0u);
}

std::vector<Request> all_requests() {
  Bytes sender(712);
  std::memcpy(sender.data(), "a@b", 3);
  return {
      {"create job", SCH_OP_CREATE_JOB, job_payload("b")},
      {"define job", SCH_OP_DEFINE_JOB, job_payload("a", std::string(2000, 'y'))},
      {"delete job", SCH_OP_DELETE_JOB, job_payload("a")},
      {"create schedule", SCH_OP_CREATE_SCHEDULE, schedule_payload("u")},
      {"time", SCH_OP_MODIFY_SCHEDULE, time_payload("s", daily(14, 0))},
      {"clear time", SCH_OP_MODIFY_SCHEDULE, modify_payload("s", SCH_MODIFY_CLEAR_TIME, true, "")},
      {"deassign", SCH_OP_MODIFY_SCHEDULE, modify_payload("s", SCH_MODIFY_JOB, true, "a")},
      {"delete schedule", SCH_OP_DELETE_SCHEDULE, schedule_payload("s")},
      {"add address", SCH_OP_SCHEDULE_EMAIL, address_payload(SCH_EMAIL_ADD, "s", "three")},
      {"remove address", SCH_OP_SCHEDULE_EMAIL, address_payload(SCH_EMAIL_REMOVE, "s", "one")},
      {"remove last address", SCH_OP_SCHEDULE_EMAIL, address_payload(SCH_EMAIL_REMOVE, "t", "one")},
      {"set sender", SCH_OP_SET_EMAIL_FROM, sender},
  };
}

TEST(Requests, a_store_that_refuses_at_any_call_leaves_memory_and_disk_as_they_were) {
  for (const Request &request : all_requests()) {
    World world;
    configure(world);
    const std::string before = configuration();
    for (int nth = 1;; nth++) {
      fail_store_call(nth);
      const uint32_t status = world.send(root(), config, request.opcode, request.payload).status;
      const bool failed = store_call_failed();
      fail_store_call(0);
      if (!failed) {
        EXPECT_EQ(status, 0u) << request.what;
        EXPECT_GE(nth, 2) << request.what;
        break;
      }
      EXPECT_EQ(status, control::err_not_stored) << request.what << " " << nth;
      ASSERT_EQ(configuration(), before) << request.what << " " << nth;
      world.restart();
      ASSERT_EQ(configuration(), before) << request.what << " " << nth;
    }
    const std::string after = configuration();
    EXPECT_NE(after, before) << request.what;
    world.restart();
    EXPECT_EQ(configuration(), after) << request.what;
  }
}

// What is granted is on disk with one commit, also when it changes several records; all else costs none.
TEST(Requests, a_granted_request_is_one_durable_commit_and_any_other_none) {
  for (const Request &request : all_requests()) {
    World world;
    configure(world);
    const auto commits_of = [&](const host::Caller &caller) {
      const uint64_t before = store_test::commits_below(host::paths().state);
      world.send(caller, config, request.opcode, request.payload);
      return store_test::commits_below(host::paths().state) - before;
    };
    EXPECT_EQ(commits_of(remote_user()), 0u) << request.what << ", refused";
    EXPECT_EQ(commits_of(root()), 1u) << request.what;
  }
  World world;
  configure(world);
  const uint64_t before = store_test::commits_below(host::paths().state);
  EXPECT_EQ(shown_text(world, "a").size(), 3000u);
  world.send(root(), SCH_SERVICE_SHOW, SCH_OP_SHOW_SCHEDULE, show_payload());
  EXPECT_EQ(store_test::commits_below(host::paths().state), before);
}

TEST(Requests, a_full_store_refuses_without_a_change_and_serves_on) {
  host::store_set_bound(512 * 1024);
  World world;
  std::string before;
  uint32_t status = 0;
  int created = 0;
  for (; created < SCH_MAX_JOBS && status == 0; created++) {
    before = configuration();
    const std::string name = "job" + std::to_string(created);
    status = job(world, SCH_OP_CREATE_JOB, name);
    if (status != 0) break;
    before = configuration();
    status = job(world, SCH_OP_DEFINE_JOB, name, std::string(service::job_text_limit, 'x'));
  }
  EXPECT_EQ(status, control::err_not_stored);
  EXPECT_GT(created, 1);
  EXPECT_EQ(configuration(), before);
  EXPECT_EQ(shown_text(world, "job0").size(), service::job_text_limit);
  ASSERT_EQ(job(world, SCH_OP_DELETE_JOB, "job0"), 0u);
  EXPECT_EQ(create_job(world, "small", "x\n"), 0u);
  world.restart();
  EXPECT_EQ(shown_text(world, "small"), "x\n");
  host::store_set_bound(uint64_t{1} << 30);
}

}  // namespace
}  // namespace service_test
