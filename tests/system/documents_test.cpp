// SPDX-License-Identifier: Apache-2.0
// What the show commands give behind `| json`, on the real programs: each document is held against the YANG module.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <nlohmann/json.hpp>
#include <regex>
#include <sstream>

#include "shell/grammar.h"
#include "tests/system/service_process.h"

namespace system_test {
namespace {

using Json = nlohmann::json;

std::string text_of_file(const std::string &path) {
  std::ifstream file(path);
  return {std::istreambuf_iterator<char>(file), {}};
}

class Documents : public testing::Test {
 protected:
  Documents() { EXPECT_TRUE(service_.start()) << service_.errors(); }

  std::string give(const std::string &input) { return run_shell(state_, {}, &status_, input); }
  std::string shell(const std::string &command) { return run_shell(state_, {"-c", command}, &status_); }

  // What yanglint complains of; empty: nothing.
  std::string complaint_about(const std::string &document) const {
    const std::string file = directory_.path() + "/document.json", said = directory_.path() + "/said";
    std::ofstream(file) << document;
    const std::string command = "yanglint -t data " YANG_MODULE " '" + file + "' >'" + said + "' 2>&1";
    const int result = std::system(command.c_str());
    return result == 0 ? "" : "yanglint: " + text_of_file(said);
  }

  // The content of the document's one container.
  Json document(const std::string &command) {
    const std::string text = shell(command + " | json");
    EXPECT_EQ(status_, 0) << command << ": " << text;
    EXPECT_EQ(complaint_about(text), "") << command << ": " << text;
    const Json whole = Json::parse(text, nullptr, false);
    if (!whole.is_object() || whole.size() != 1) return {};
    EXPECT_TRUE(whole.begin().key().starts_with("schedcli:")) << text;
    return whole.begin().value();
  }

  void wait_for_runs() {
    while (shell("show scheduler history").find("running") != std::string::npos && status_ == 0) {
    }
  }

  void configure(const std::string &text) {
    ASSERT_EQ(give("feature scheduler\n" + text), "");
    ASSERT_EQ(status_, 0);
  }

  TemporaryDirectory directory_;
  std::string state_ = directory_.path() + "/state";
  ServiceProcess service_{state_};
  int status_ = -1;
};

std::string filled_in(std::string syntax) {
  for (const auto &[parameter, value] : std::vector<std::pair<std::string, std::string>>{{"<job>", "noisy"},
                                                                                         {"<schedule>", "one"},
                                                                                         {"<count>", "5"},
                                                                                         {"<moment>", "6h"},
                                                                                         {"<run>", "1"},
                                                                                         {"<configuration>", "1"}})
    syntax = std::regex_replace(syntax, std::regex(parameter), value);
  return syntax;
}

// The groups in brackets left out, and all of them taken.
std::vector<std::string> forms_of(const std::string &syntax) {
  const std::string without = std::regex_replace(syntax, std::regex(R"( \[[^\]]*\])"), "");
  const std::string with = std::regex_replace(syntax, std::regex(R"([\[\]])"), "");
  return without == with ? std::vector{with} : std::vector{without, with};
}

std::vector<std::string> show_commands() {
  std::vector<std::string> all;
  for (const shell::Command &command : shell::commands())
    if (command.query)
      for (const std::string &form : forms_of(command.syntax))
        all.push_back(form);
  return all;
}

// Every kind of time, setting and character; one job prints what no terminal should get, the other too much.
constexpr const char *everything =
    "scheduler logfile size 2048\n"
    "scheduler transport email from switch@example.net\n"
    "scheduler transport email smtp-server mail.example.net port 2525 vrf red\n"
    "scheduler job name noisy\n"
    "printf 'a\\033[31mred\\000\\377\\357\\277\\276 \"quoted\" back\\\\slash \\342\\202\\254\\t.'\n"
    "echo '\xc3\xa9\xff'\n"
    "exit 3\n"
    "end-job\n"
    "scheduler job name long\n"
    "head -c 300000 /dev/zero | tr '\\0' x\n"
    "end-job\n"
    "scheduler schedule name one\n"
    "job name noisy\n"
    "job name long\n"
    "time daily 7:05\n"
    "email-addr a@example.net\n"
    "scheduler schedule name weekly\n"
    "time weekly Sun:23:59\n"
    "scheduler schedule name monthly\n"
    "time monthly 31:0:0\n"
    "scheduler schedule name often\n"
    "time start +1:0:0 repeat 1:2:3\n"
    "scheduler schedule name later\n"
    "time start +2:0:0\n"
    "scheduler disable schedule weekly\n"
    "scheduler schedule name bare\n"
    "end\n";

class FilledDocuments : public Documents {
 protected:
  FilledDocuments() {
    configure(everything);
    shell("copy running-config startup-config");
    shell("scheduler run schedule one");
    wait_for_runs();
  }
};

TEST_F(FilledDocuments, of_every_show_command_are_what_the_module_says) {
  ASSERT_GT(show_commands().size(), 20u);
  shell("no scheduler job name long force");  // so that the history of configurations has two
  shell("copy running-config startup-config");
  for (const std::string &command : show_commands())
    EXPECT_TRUE(document(filled_in(command)).is_object()) << command;
}

TEST_F(Documents, of_an_empty_service_are_what_the_module_says) {
  for (const std::string &command : show_commands()) {
    if (command.find('<') != std::string::npos || command.find("startup-config") != std::string::npos) continue;
    EXPECT_TRUE(document(command).is_object()) << command;
  }
  EXPECT_EQ(document("show scheduler job"), Json::parse(R"({"enabled": false, "job": []})"));
}

TEST_F(FilledDocuments, tell_what_a_job_printed_without_what_a_terminal_would_obey) {
  const Json run = document("show scheduler history run 1");
  ASSERT_EQ(run["job-outcome"].size(), 2u) << run;
  const Json &noisy = run["job-outcome"][0];
  EXPECT_EQ(noisy["output"], "a^[[31mred^@<FF><U+FFFE> \"quoted\" back\\slash \xe2\x82\xac\t.\xc3\xa9<FF>\n");
  EXPECT_EQ(noisy["output-length"], "44");
  EXPECT_EQ(noisy["output-cut"], false);
  EXPECT_EQ(noisy["outcome"], "failed");
  EXPECT_EQ(noisy["exit-code"], 3);
  const Json &cut = run["job-outcome"][1];
  EXPECT_EQ(cut["output-length"], "300000");
  EXPECT_EQ(cut["output-cut"], true);
  EXPECT_EQ(cut["outcome"], "success");
  const std::string printed = cut["output"];
  EXPECT_GT(printed.size(), 200000u);
  EXPECT_EQ(printed.find_first_not_of('x'), std::string::npos);
  EXPECT_EQ(run["number"], "1");
  EXPECT_EQ(run["outcome"], "failed");
  EXPECT_EQ(run["jobs-failed"], 1);
  const Json log = document("show scheduler logfile");
  ASSERT_EQ(log["entries"], 2);
  EXPECT_EQ(log["entry"][0]["output"], noisy["output"]);
  EXPECT_EQ(log["entry"][1]["output-cut"], true);
}

TEST_F(FilledDocuments, have_the_configuration_as_data) {
  const Json running = document("show running-config");
  EXPECT_EQ(running["settings"]["mail"]["server"],
            Json::parse(R"({"host": "mail.example.net", "port": 2525, "vrf": "red"})"));
  EXPECT_EQ(running["settings"]["log-size"], 2048);
  ASSERT_EQ(running["schedule"].size(), 6u) << running;
  const Json &one = running["schedule"][0];
  EXPECT_EQ(one["job"], Json::parse(R"(["noisy", "long"])"));
  EXPECT_EQ(one["recurrence"], Json::parse(R"({"kind": "daily", "time-of-day": "07:05"})"));
  EXPECT_EQ(one["address"], Json::parse(R"(["a@example.net"])"));
  EXPECT_EQ(running["schedule"][1]["enabled"], false);
  EXPECT_EQ(running["schedule"][1]["recurrence"]["weekday"], "sunday");
  EXPECT_EQ(running["schedule"][2]["recurrence"]["day-of-month"], 31);
  EXPECT_EQ(running["schedule"][3]["recurrence"]["period"], 26 * 60 + 3);
  EXPECT_EQ(running["schedule"][4]["recurrence"]["kind"], "once");
  EXPECT_FALSE(running["schedule"][5].contains("recurrence"));
  EXPECT_EQ(document("show scheduler config"), running);
  EXPECT_EQ(document("show startup-config")["schedule"], running["schedule"]);
}

TEST_F(FilledDocuments, tell_how_configurations_differ) {
  EXPECT_EQ(document("show startup-config diff"), Json::parse(R"({"job": [], "schedule": []})"));
  ASSERT_EQ(give("no scheduler job name long force\nscheduler job name new commands true\nend\n"), "");
  const Json difference = document("show startup-config diff");
  ASSERT_EQ(difference["job"].size(), 2u) << difference;
  EXPECT_EQ(difference["job"][0]["name"], "new");
  EXPECT_EQ(difference["job"][0]["change"], "removed");
  EXPECT_EQ(difference["job"][1]["change"], "added");
  ASSERT_EQ(difference["schedule"].size(), 1u);
  EXPECT_EQ(difference["schedule"][0]["change"], "changed");
  EXPECT_EQ(difference["schedule"][0]["before"]["job"], Json::parse(R"(["noisy"])"));
}

TEST_F(FilledDocuments, agree_in_one_schedule_whichever_command_shows_it) {
  const Json overview = document("show scheduler"), all = document("show scheduler schedule"),
             one = document("show scheduler schedule name one"),
             upcoming = document("show scheduler upcoming name one 3");
  EXPECT_EQ(overview["schedule"].size(), 6u);
  EXPECT_EQ(overview["schedule"][0]["last-run"]["outcome"], "failed");
  EXPECT_EQ(all["schedule"][0], one["schedule"][0]);
  EXPECT_EQ(one["schedule"][0]["job"][0]["last-exit-code"], 3);
  EXPECT_EQ(one["schedule"][0]["executions"], 1);
  EXPECT_EQ(upcoming["schedule"][0]["due"].size(), 3u);
  EXPECT_EQ(upcoming["schedule"][0]["due"][0], one["schedule"][0]["next-due"]);
  EXPECT_EQ(overview["schedule"][0]["next-due"], one["schedule"][0]["next-due"]);
}

TEST_F(Documents, tell_that_a_change_waits_for_its_confirmation) {
  const std::string wanted = directory_.path() + "/wanted.conf";
  std::ofstream(wanted) << "feature scheduler\n";
  shell("configure replace " + wanted + " confirm 5");
  ASSERT_EQ(status_, 0);
  const Json waiting = document("show scheduler status");
  EXPECT_TRUE(waiting.contains("confirmation") && waiting["confirmation"].contains("deadline")) << waiting;
  shell("configure confirm");
  EXPECT_FALSE(document("show scheduler status").contains("confirmation"));
}

TEST_F(Documents, go_on_to_other_pipes) {
  configure("scheduler job name a commands true\n");
  EXPECT_EQ(shell("show scheduler job | json | include name"), "        \"name\": \"a\",\n");
  const std::string file = directory_.path() + "/saved";
  EXPECT_EQ(shell("show scheduler job | json | save " + file), "");
  EXPECT_EQ(complaint_about(text_of_file(file)), "");
}

TEST_F(Documents, of_long_lists_are_whole) {
  std::string text;
  for (int number = 0; number < 200; number++)
    text += "scheduler schedule name s" + std::to_string(number) + "\ntime daily 3:00\n";
  configure(text);
  EXPECT_EQ(document("show scheduler schedule")["schedule"].size(), 200u);
}

struct Refusal {
  const char *line, *said;
  int status;
};

const Refusal refusals[] = {
    {"show scheduler job name nothing | json", "Error: job nothing: no such job\n", 255},
    {"show scheduler schedule name nothing | json", "Error: schedule nothing: no such schedule\n", 255},
    {"show scheduler history schedule nothing | json", "Error: schedule nothing: no such schedule\n", 255},
    {"show scheduler upcoming name nothing | json", "Error: schedule nothing: no such schedule\n", 255},
    {"show scheduler history run 9 | json",
     "Error: run 9: no such run in the history of the schedules that you may see\n", 255},
    {"show scheduler logfile raw save ./x | json", "\"json\" at column 39 is nothing that this command can show\n", 2},
    {"show scheduler job | count | json", "\"json\" at column 30 can only come first\n", 2},
    {"show scheduler nothing | json", "", 2},
    {"clear scheduler logfile | json", "\"|\" at column 25 is too much: the command ends before it\n", 2},
};

TEST_F(Documents, that_cannot_be_are_refused_in_words_and_with_a_status) {
  configure("");
  for (const Refusal &refusal : refusals) {
    const std::string said = shell(refusal.line);
    EXPECT_THAT(said, ::testing::StartsWith(refusal.said)) << refusal.line;
    EXPECT_EQ(said.find('{'), std::string::npos) << said;
    EXPECT_EQ(status_, refusal.status) << refusal.line;
  }
}

}  // namespace
}  // namespace system_test
