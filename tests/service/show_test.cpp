// SPDX-License-Identifier: Apache-2.0
// What the show commands of the library get of a job and of a schedule.
#include <gtest/gtest.h>

#include <cstring>
#include <limits>
#include <vector>

#include "service/run/outcome.h"
#include "service/state/tables.h"
#include "tests/service/world.h"

namespace service_test {
namespace {

constexpr time_t half_past = noon + 30 * 60;
constexpr int32_t first = -1, last = std::numeric_limits<int32_t>::max();

struct Show : ::testing::Test {
  World world;

  Show() {
    EXPECT_EQ(create_job(world, "good", "echo fine\n"), 0u);
    EXPECT_EQ(create_job(world, "bad", "exit 3\n"), 0u);
    EXPECT_EQ(create_job(world, "own", "", nobody()), 0u);
    EXPECT_EQ(create_schedule(world, "s", {"good", "bad"}, daily(12, 30)), 0u);
    EXPECT_EQ(create_schedule(world, "nobodys", {}, every(5, noon + 60), nobody()), 0u);
  }

  struct Shown {
    sch_show_schedule_reply fixed = {};
    std::vector<sch_job_status_entry> jobs;
  };
  Shown schedule(const std::string &name, int32_t cursor = first, const host::Caller &caller = root()) {
    Shown shown;
    const host::Answer answer = world.send(caller, SCH_SERVICE_SHOW, SCH_OP_SHOW_SCHEDULE, show_payload(name, cursor));
    if (!answer.reply) return shown;
    std::memcpy(&shown.fixed, answer.reply->data(), sizeof shown.fixed);
    shown.jobs.resize((answer.reply->size() - sizeof shown.fixed) / sizeof(sch_job_status_entry));
    if (!shown.jobs.empty())
      std::memcpy(shown.jobs.data(), answer.reply->data() + sizeof shown.fixed,
                  shown.jobs.size() * sizeof(sch_job_status_entry));
    return shown;
  }
  std::string job(const std::string &name, int32_t cursor = first, const host::Caller &caller = root()) {
    const host::Answer answer = world.send(caller, SCH_SERVICE_SHOW, SCH_OP_SHOW_JOB, show_payload(name, cursor));
    sch_show_job_reply fixed = {};
    if (!answer.reply) return "(none)";
    std::memcpy(&fixed, answer.reply->data(), sizeof fixed);
    EXPECT_EQ(answer.reply->size(), sizeof fixed + static_cast<size_t>(fixed.length));
    const auto *text = reinterpret_cast<const char *>(answer.reply->data()) + sizeof fixed;
    return std::string(fixed.name) + " " + std::to_string(fixed.job_id) + " " +
           std::string(text, static_cast<size_t>(fixed.length));
  }
};

TEST_F(Show, a_schedule_has_its_time_its_owner_and_what_became_of_its_runs) {
  due_now(world, half_past + 5);
  world.settle();
  const Shown shown = schedule("s");
  EXPECT_STREQ(shown.fixed.name, "s");
  EXPECT_EQ(shown.fixed.number, static_cast<int32_t>(service::schedule_number(*service::find_schedule("s")->rec)));
  EXPECT_STREQ(shown.fixed.user, "root");
  EXPECT_EQ(shown.fixed.time.type, static_cast<uint32_t>(SCH_SCHEDULE_DAILY));
  EXPECT_EQ(shown.fixed.time.hour, 12);
  EXPECT_EQ(shown.fixed.time.minute, 30);
  EXPECT_EQ(shown.fixed.last_execution, half_past + 5);
  EXPECT_EQ(shown.fixed.last_completion, half_past + 5);
  EXPECT_EQ(shown.fixed.execution_count, 1);
  EXPECT_EQ(shown.fixed.email_count, 0);
  EXPECT_EQ(schedule("nobodys").fixed.time.start_time, noon + 60);
  EXPECT_STREQ(schedule("nobodys").fixed.user, "nobody");
}

TEST_F(Show, a_schedule_has_its_jobs_by_their_places_each_with_its_last_code) {
  const auto codes = [this] {
    std::string all;
    const Shown shown = schedule("s");
    EXPECT_EQ(static_cast<size_t>(shown.fixed.job_count), shown.jobs.size());
    for (const sch_job_status_entry &entry : shown.jobs)
      all += std::string(entry.name) + " " + std::to_string(entry.wait_status >> 8) + ";";
    return all;
  };
  const std::string not_yet = std::to_string(service::exit_code(service::Reason::not_yet_run));
  EXPECT_EQ(codes(), "good " + not_yet + ";bad " + not_yet + ";");
  due_now(world, half_past);
  world.settle();
  EXPECT_EQ(codes(), "good 0;bad 3;");
}

TEST_F(Show, a_schedule_has_its_addresses_in_their_places) {
  for (const char *address : {"a@b", "c@d", "e@f"})
    ASSERT_EQ(
        world.send(root(), SCH_SERVICE_CONFIG, SCH_OP_SCHEDULE_EMAIL, address_payload(SCH_EMAIL_ADD, "s", address))
            .status,
        0u);
  ASSERT_EQ(world.send(root(), SCH_SERVICE_CONFIG, SCH_OP_SCHEDULE_EMAIL, address_payload(SCH_EMAIL_REMOVE, "s", "c@d"))
                .status,
            0u);
  const Shown shown = schedule("s");
  EXPECT_EQ(shown.fixed.email_count, 2);
  EXPECT_STREQ(shown.fixed.emails[0].address, "a@b");
  EXPECT_EQ(shown.fixed.emails[1].in_use, 0);
  EXPECT_STREQ(shown.fixed.emails[2].address, "e@f");
  EXPECT_NE(shown.fixed.emails[2].in_use, 0);
}

TEST_F(Show, a_job_has_its_place_and_its_text) {
  EXPECT_EQ(job("good"), "good 0 echo fine\n");
  EXPECT_EQ(job("own"), "own 2 ");
  EXPECT_EQ(job("none"), "(none)");
}

TEST_F(Show, the_next_ones_follow_a_cursor_to_the_end_and_a_name_needs_none) {
  EXPECT_EQ(job("", first), "good 0 echo fine\n");
  EXPECT_EQ(job("", 0), "bad 1 exit 3\n");
  EXPECT_EQ(job("", 1), "own 2 ");
  EXPECT_EQ(job("", 2), "(none)");
  EXPECT_EQ(job("", last), "(none)");
  EXPECT_EQ(job("good", 1), "good 0 echo fine\n");
  const int32_t number = schedule("", first).fixed.number;
  EXPECT_STREQ(schedule("", first).fixed.name, "s");
  EXPECT_STREQ(schedule("", number).fixed.name, "nobodys");
  EXPECT_STREQ(schedule("", schedule("", number).fixed.number).fixed.name, "");
  EXPECT_STREQ(schedule("", last).fixed.name, "");
  EXPECT_STREQ(schedule("s", last).fixed.name, "s");
}

TEST_F(Show, a_user_is_shown_nothing_of_others_by_cursor_or_by_name) {
  EXPECT_EQ(job("", first, nobody()), "own 2 ");
  EXPECT_EQ(job("", 2, nobody()), "(none)");
  EXPECT_EQ(job("good", first, nobody()), "(none)");
  EXPECT_STREQ(schedule("", first, nobody()).fixed.name, "nobodys");
  EXPECT_STREQ(schedule("s", first, nobody()).fixed.name, "");
  EXPECT_STREQ(schedule("", first, daemon_user()).fixed.name, "");
}

}  // namespace
}  // namespace service_test
