// SPDX-License-Identifier: Apache-2.0
// What the show commands ask for behind `| json`, and what the shell makes of the answer.
#include "shell/documents.h"

#include <gmock/gmock.h>

#include <nlohmann/json.hpp>

#include "control/statuses.h"
#include "tests/shell/session_fixture.h"

namespace shell {
namespace {

using control::Operation;
using Json = nlohmann::json;

class Documents : public SessionTest {
 protected:
  int show(const std::string &line) {
    Session session(script_options());
    calls_of(session, {line});
    return session.status();
  }
  static void answer(const std::string &document) {
    recorder::control_replies[Operation::as_json] = recorder::bytes_of(document);
  }
  static std::string asked() { return recorder::control_payloads[Operation::as_json].back(); }
};

std::string number(Operation operation) {
  const auto word = static_cast<uint32_t>(operation);
  return {reinterpret_cast<const char *>(&word), sizeof word};
}

TEST_F(Documents, are_asked_for_and_shown_as_they_come) {
  const std::pair<const char *, std::string> rows[] = {
      {"show clock | json", number(Operation::get_zone)},
      {"show scheduler job | json", number(Operation::jobs)},
      {"show scheduler job name x | json", number(Operation::jobs) + "x"},
      {"show startup-config diff | json",
       number(Operation::configuration_difference) + std::string("\0\0\0\0\xff\xff\xff\xff", 8)},
      {"show configuration diff 2 99999999999 | json",
       number(Operation::configuration_difference) + std::string("\2\0\0\0\xfe\xff\xff\xff", 8)},
  };
  answer("{}\n");
  for (const auto &[line, payload] : rows) {
    EXPECT_EQ(show(line), 0) << line << err;
    EXPECT_EQ(asked(), payload) << line;
    EXPECT_EQ(out, "{}\n");
    EXPECT_EQ(recorder::calls.size(), 1u) << line;
  }
}

TEST_F(Documents, have_what_the_shell_knows_of_itself) {
  answer(R"({"schedcli:version": {"service": "1.2.3"}})");
  EXPECT_EQ(show("show version | json"), 0);
  const Json version = Json::parse(out)["schedcli:version"];
  EXPECT_EQ(version["service"], "1.2.3");
  EXPECT_TRUE(version["shell"].is_string()) << out;
  answer(R"({"schedcli:debug-history": {"service": []}})");
  EXPECT_EQ(show("show scheduler internal history | json"), 0);
  const Json history = Json::parse(out)["schedcli:debug-history"];
  EXPECT_TRUE(history["shell"].is_array() && history["service"].is_array()) << out;
}

struct EmptyCase {
  const char *document;
  bool is_empty;
};

const EmptyCase empty_cases[] = {
    {R"({"schedcli:history": {"run": []}})", true},
    {R"({"schedcli:log": {"entry": []}})", true},
    {R"({"schedcli:history": {"run": [1]}})", false},
    {R"({"schedcli:log": {"entry": [1]}})", false},
    {"{}", false},
    {"[]", false},
    {"no document", false},
};

// History and log may still have outcomes of what was deleted.
TEST_F(Documents, without_anything_in_them_say_that_there_is_no_such_name) {
  recorder::control_statuses[Operation::find] = control::err_no_such_job;
  for (const EmptyCase &row : empty_cases) {
    answer(row.document);
    for (const char *line : {"show scheduler history job x | json", "show scheduler logfile job x | json"}) {
      EXPECT_EQ(show(line), row.is_empty ? 255 : 0) << row.document;
      EXPECT_EQ(err, row.is_empty ? "Error: job x: no such job\n" : "") << row.document;
      EXPECT_EQ(out, row.is_empty ? "" : std::string(row.document) + "\n");
    }
  }
  answer(empty_cases[0].document);
  EXPECT_EQ(show("show scheduler history | json"), 0);
  EXPECT_EQ(show("show scheduler upcoming | json"), 0);
  recorder::control_statuses.clear();
  EXPECT_EQ(show("show scheduler history job x | json"), 0) << "there is such a job";
}

TEST_F(Documents, that_are_refused_name_what_was_asked_for) {
  recorder::control_status = control::err_no_such_job;
  for (const auto &[line, subject] :
       {std::pair("show scheduler job name x | json", "job x"),
        std::pair("show scheduler history schedule s job x | json", "schedule s"),
        std::pair("show scheduler history run 9 | json", "run 9"), std::pair("show clock | json", "show clock")}) {
    EXPECT_EQ(show(line), 255);
    EXPECT_EQ(err, std::string("Error: ") + subject + ": no such job\n");
    EXPECT_EQ(out, "");
  }
}

}  // namespace
}  // namespace shell
