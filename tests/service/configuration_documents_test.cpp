// SPDX-License-Identifier: Apache-2.0
// What the documents about configurations say, word for word, and how a long list is written.
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "control/json.h"
#include "control/operations.h"
#include "service/document/answer.h"
#include "service/document/recurrence.h"
#include "tests/service/calendar_records.h"
#include "tests/service/configuration_fixture.h"

namespace service_test {
namespace {

using control::Operation;
using Parsed = nlohmann::ordered_json;  // whose members compare in their order

const std::string whole =
    "feature scheduler\n"
    "scheduler logfile size 17\n\n"
    "scheduler logfile name flash:log\n\n"
    "scheduler transport email from from@b\n"
    "scheduler transport email reply-to to@b\n"
    "scheduler transport email smtp-server mail.b port 26 vrf blue\n"
    "scheduler job name a\necho 1\nend-job\n\n"
    "scheduler job name b\nend-job\n\n"
    "scheduler schedule name s\n job name a\n job name b\n  time daily 23:30\nemail-addr a@b\nemail-addr c@d\n"
    "scheduler disable schedule s\n\n"
    "scheduler schedule name t\n  \n\n"
    "logging level scheduler 4\n";

constexpr char settings_of_whole[] =
    R"({"enabled": true, "log-size": 17, "log-file": "flash:log", "mail": {"from": "from@b", "reply-to": "to@b",
        "server": {"host": "mail.b", "port": 26, "vrf": "blue"}}, "logging-level": 4})";

struct ConfigurationDocument : ::testing::Test {
  World world;

  Parsed document(Operation operation, const Bytes &payload = {}, const host::Caller &caller = root()) {
    const std::string rest(reinterpret_cast<const char *>(payload.data()), payload.size());
    const host::Answer answer = ask(world, Operation::as_json, query(operation, rest), caller);
    if (answer.status != 0) return answer.status;
    const Parsed found = Parsed::parse(text_in(answer), nullptr, false);
    return found.is_object() && found.size() == 1 ? found.front() : found;
  }
  Parsed difference(uint32_t before, uint32_t after, const host::Caller &caller = root()) {
    return document(Operation::configuration_difference, query(control::DifferenceQuery{before, after}), caller);
  }
};

TEST_F(ConfigurationDocument, of_the_one_in_use_has_all_that_its_text_has) {
  ASSERT_EQ(replace(world, whole).status, 0u);
  const Parsed found = document(Operation::running_text);
  EXPECT_EQ(found["settings"], Parsed::parse(settings_of_whole));
  EXPECT_EQ(found["job"], Parsed::parse(R"([{"name": "a", "owner": "root", "commands": "echo 1\n"},
                                            {"name": "b", "owner": "root", "commands": ""}])"));
  EXPECT_EQ(found["schedule"], Parsed::parse(R"([{"name": "s", "owner": "root", "enabled": false,
      "recurrence": {"kind": "daily", "time-of-day": "23:30"}, "job": ["a", "b"], "address": ["a@b", "c@d"]},
      {"name": "t", "owner": "root", "enabled": true, "job": [], "address": []}])"));
}

TEST_F(ConfigurationDocument, of_usual_settings_has_no_mail_and_no_file) {
  EXPECT_EQ(document(Operation::running_text)["settings"],
            Parsed::parse(R"({"enabled": true, "log-size": 16, "logging-level": 5})"));
  ASSERT_EQ(replace(world, "feature scheduler\nscheduler transport email smtp-server  mail.b\n").status, 0u);
  EXPECT_EQ(document(Operation::running_text)["settings"]["mail"],
            Parsed::parse(R"({"server": {"host": "mail.b", "port": 25}})"));
}

TEST_F(ConfigurationDocument, of_the_saved_one_is_there_once_it_was_saved) {
  EXPECT_EQ(document(Operation::startup_text), control::err_no_startup);
  ASSERT_EQ(replace(world, whole).status, 0u);
  const Parsed saved = document(Operation::running_text);
  ASSERT_EQ(ask(world, Operation::copy_running_startup).status, 0u);
  ASSERT_EQ(replace(world, "feature scheduler\n").status, 0u);
  EXPECT_EQ(document(Operation::startup_text), saved);
}

TEST_F(ConfigurationDocument, has_of_an_ordinary_user_what_is_theirs_and_no_settings) {
  ASSERT_EQ(replace(world, whole).status, 0u);
  ASSERT_EQ(create_job(world, "mine", "id\n", nobody()), 0u);
  EXPECT_EQ(document(Operation::running_text, {}, nobody()),
            Parsed::parse(R"({"job": [{"name": "mine", "owner": "nobody", "commands": "id\n"}], "schedule": []})"));
}

TEST_F(ConfigurationDocument, of_a_difference_has_what_was_removed_changed_and_added) {
  ASSERT_EQ(replace(world, whole).status, 0u);
  std::string other = "feature scheduler\n" + whole.substr(whole.find("scheduler job name a"));
  other.replace(other.find("echo 1"), 6, "echo 2");
  other.replace(other.find("scheduler schedule name t"), 25, "scheduler schedule name u");
  ASSERT_EQ(replace(world, other).status, 0u);
  const Parsed found = difference(2, control::running_configuration_number);
  EXPECT_EQ(found["settings"]["before"], Parsed::parse(settings_of_whole));
  EXPECT_EQ(found["settings"]["after"], Parsed::parse(R"({"enabled": true, "log-size": 16, "logging-level": 4})"));
  EXPECT_EQ(found["job"], Parsed::parse(R"([{"name": "a", "change": "changed", "before": {"name": "a",
      "commands": "echo 1\n"}, "after": {"name": "a", "commands": "echo 2\n"}}])"));
  EXPECT_EQ(found["schedule"], Parsed::parse(R"([
      {"name": "t", "change": "removed", "before": {"name": "t", "enabled": true, "job": [], "address": []}},
      {"name": "u", "change": "added", "after": {"name": "u", "enabled": true, "job": [], "address": []}}])"));
  const Parsed none = Parsed::parse(R"({"job": [], "schedule": []})");
  EXPECT_EQ(difference(3, control::running_configuration_number), none);
  EXPECT_EQ(difference(2, 3, nobody()), none);
  EXPECT_EQ(difference(2, control::startup_configuration_number), control::err_no_startup);
  EXPECT_EQ(difference(99, 2), control::err_no_such_configuration);
  ASSERT_EQ(ask(world, Operation::copy_running_startup).status, 0u);
  EXPECT_EQ(difference(3, control::startup_configuration_number), none);
}

Parsed recurrence(const sch_tminfo &time) {
  return Parsed::parse(service::recurrence_of(time).dump());
}

TEST(RecurrenceDocument, has_each_kind_with_its_own_members) {
  using namespace calendar_test;
  EXPECT_EQ(recurrence(calendar_test::once(2027, 7, 1, 12, 34)),
            Parsed::parse(R"({"kind": "once", "start": "2027-07-01T12:34:00+00:00"})"));
  EXPECT_EQ(recurrence(calendar_test::daily(3, 4)), Parsed::parse(R"({"kind": "daily", "time-of-day": "03:04"})"));
  EXPECT_EQ(recurrence(weekly(1, 23, 59)),
            Parsed::parse(R"({"kind": "weekly", "time-of-day": "23:59", "weekday": "sunday"})"));
  EXPECT_EQ(recurrence(weekly(7, 0, 0)),
            Parsed::parse(R"({"kind": "weekly", "time-of-day": "00:00", "weekday": "saturday"})"));
  EXPECT_EQ(recurrence(monthly(31, 1, 2)),
            Parsed::parse(R"({"kind": "monthly", "time-of-day": "01:02", "day-of-month": 31})"));
  EXPECT_EQ(recurrence(calendar_test::every(1, 2, 3, utc(2027, 7, 1, 12, 34))),
            Parsed::parse(R"({"kind": "periodic", "start": "2027-07-01T12:34:00+00:00", "period": 1563})"));
  EXPECT_EQ(recurrence(calendar_test::every(-1, -1, 3, 60)),
            Parsed::parse(R"({"kind": "periodic", "start": "1970-01-01T00:01:00+00:00", "period": 3})"));
  EXPECT_EQ(recurrence({}), nullptr);
}

// What a damaged store may have is shown as the nearest that there is.
TEST(RecurrenceDocument, of_fields_out_of_range_is_of_the_nearest_in_it) {
  using namespace calendar_test;
  EXPECT_EQ(recurrence(weekly(0, -1, -1)),
            Parsed::parse(R"({"kind": "weekly", "time-of-day": "00:00", "weekday": "sunday"})"));
  EXPECT_EQ(recurrence(weekly(8, 24, 60)),
            Parsed::parse(R"({"kind": "weekly", "time-of-day": "23:59", "weekday": "saturday"})"));
}

// A list of so many entries, as the service sends it in pieces.
std::string listed(int entries, size_t *pieces) {
  const host::Answer answer = service::list_document(
      "things", {{"head", 1}}, "thing", [next = 0, entries]() mutable -> std::optional<control::Json> {
        if (next == entries) return std::nullopt;
        return control::Json{{"number", next++}, {"text", std::string(100, 'x') + "\n\xff"}};
      });
  std::string text;
  for (*pieces = 0; const std::optional<Bytes> piece = answer.next(); ++*pieces)
    text.append(reinterpret_cast<const char *>(piece->data()), piece->size());
  return text;
}

TEST(ListDocument, is_written_as_if_it_were_written_at_once) {
  for (const int entries : {0, 1, 2, 5000}) {
    control::Json list = control::Json::array();
    for (int i = 0; i < entries; i++)
      list.push_back({{"number", i}, {"text", std::string(100, 'x') + "\n\xff"}});
    const control::Json expected = {{"schedcli:things", {{"head", 1}, {"thing", list}}}};
    size_t pieces = 0;
    EXPECT_EQ(listed(entries, &pieces), control::json_document(expected)) << entries;
    EXPECT_EQ(pieces > 1, entries == 5000) << entries;
  }
}

}  // namespace
}  // namespace service_test
