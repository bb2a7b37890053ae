// SPDX-License-Identifier: Apache-2.0
// Every line of the command reference, each way in which it can be written, on the real programs.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <regex>
#include <set>
#include <sstream>

#include "tests/system/service_process.h"

namespace system_test {
namespace {

struct Line {
  std::string chapter, syntax;
};

std::vector<Line> lines_of_the_reference() {
  std::ifstream file(COMMANDS_MD);
  std::vector<Line> lines;
  std::string chapter;
  for (std::string line; std::getline(file, line);) {
    if (line.starts_with("## ")) chapter = line.substr(3);
    if (line.starts_with("| `") && chapter != "What is filled in")
      lines.push_back({chapter, line.substr(3, line.find('`', 3) - 3)});
  }
  return lines;
}

std::set<std::string> pipes_of_the_reference() {
  std::ifstream file(COMMANDS_MD);
  const std::string text(std::istreambuf_iterator<char>(file), {});
  const std::regex pipe("`\\| ([^`]+)`");
  std::set<std::string> pipes;
  for (auto match = std::sregex_iterator(text.begin(), text.end(), pipe); match != std::sregex_iterator(); ++match)
    pipes.insert((*match)[1]);
  return pipes;
}

// These need files, kept configurations and a clean end; configure_test looks at what they do.
bool is_of_whole_configurations(const std::string &syntax) {
  for (const char *begin : {"configure replace", "configure confirm", "rollback", "copy <path>", "copy startup-config",
                            "copy running-config <path>", "erase", "import", "show configuration"})
    if (syntax.starts_with(begin)) return true;
  return false;
}

// With and without each group in brackets.
std::set<std::string> forms_of(const std::string &syntax) {
  const size_t open = syntax.find('['), close = syntax.find(']');
  if (open == std::string::npos) return {syntax};
  std::set<std::string> forms;
  const std::string before = syntax.substr(0, open), after = syntax.substr(close + 1);
  for (const std::string &with : forms_of(before + syntax.substr(open + 1, close - open - 1) + after))
    forms.insert(with);
  const std::string left_out = after.empty() ? before.substr(0, before.size() - 1) : before + after.substr(1);
  for (const std::string &without : forms_of(left_out))
    forms.insert(without);
  return forms;
}

const std::map<std::string, std::string> values = {
    {"job", "a"},
    {"schedule", "s"},
    {"new-name", "renamed"},
    {"commands", "echo x"},
    {"daily", "23:30"},
    {"weekly", "Mon:02:10"},
    {"monthly", "1:00:05"},
    {"start", "+1:0:0"},
    {"period", "0:1:30"},
    {"kilobytes", "32"},
    {"uri", "flash:jobs.log"},
    {"address", "a@example.net"},
    {"host", "mail.example.net"},
    {"port", "2525"},
    {"vrf", "red"},
    {"user", "root"},
    {"password", "secret"},
    {"sealed", "no-sealed-password"},
    {"level", "6"},
    {"count", "5"},
    {"run", "1"},
    {"moment", "6h"},
    {"lines", "0"},
    {"columns", "80"},
    {"store", "running:scheduler_runtime"},
};

// What cannot succeed here, and why the shell says so: it was understood all the same.
const std::map<std::string, int> refused = {
    {"scheduler kill run <run>", 255},                               // it has ended
    {"scheduler take-over", 255},                                    // it is active
    {"scheduler aaa-authentication", 255},                           // nobody can be asked
    {"scheduler aaa-authentication password", 255},                  //
    {"scheduler aaa-authentication username <user>", 255},           //
    {"scheduler aaa-authentication username <user> password", 255},  //
    {"scheduler aaa-authentication password 7 <sealed>", 9},         // it does not open
    {"scheduler aaa-authentication username <user> password 7 <sealed>", 9},
    {"store load <store>", 255},  // the service has it open
    {"store load <store> <file>", 255},
    {"terminal width <columns>", 255},  // there is no terminal
};

class Reference : public testing::Test {
 protected:
  Reference() {
    EXPECT_TRUE(service_.start()) << service_.errors();
    setenv("VISUAL", "true", 1);
    give(prelude + "scheduler run schedule s\n");
    while (give("show scheduler history run 1\n").find("outcome: success") == std::string::npos && status_ == 0) {
    }
    give("copy running-config startup-config\n");
  }
  ~Reference() override { unsetenv("VISUAL"); }

  std::string give(const std::string &script) {
    std::vector<std::string> arguments;
    std::istringstream lines(script);
    for (std::string line; std::getline(lines, line);) {
      arguments.emplace_back("-c");
      arguments.push_back(line);
    }
    return run_shell(state_, arguments, &status_);
  }

  std::string filled_in(const std::string &form) const {
    std::string line = form;
    for (const auto &[name, value] : values)
      line = std::regex_replace(line, std::regex("<" + name + ">"), value);
    return std::regex_replace(line, std::regex("<(file|output)>"), directory_.path() + "/dumped");
  }

  std::string script_of(const Line &line, const std::string &form) const {
    std::string script = prelude;
    if (line.chapter == "Schedule mode") script += "scheduler schedule name s\njob name a\nemail-addr a@example.net\n";
    if (form.starts_with("no scheduler aaa")) script += "scheduler aaa-authentication password secret\n";
    script += filled_in(form) + "\n";
    return line.syntax.ends_with("name <job>") && line.chapter == "Configuration mode" && form.starts_with("scheduler")
               ? script + "end-job\n"
               : script;
  }

  const std::string prelude =
      "feature scheduler\nscheduler job name a commands true\nscheduler job name c commands true\n"
      "scheduler schedule name s\njob name c\nend\n";

  TemporaryDirectory directory_;
  std::string state_ = directory_.path() + "/state";
  ServiceProcess service_{state_};
  int status_ = -1;
};

TEST_F(Reference, lines_are_understood_and_carried_out) {
  const std::vector<Line> lines = lines_of_the_reference();
  ASSERT_GT(lines.size(), 70u);
  for (const Line &line : lines) {
    if (is_of_whole_configurations(line.syntax)) continue;
    for (const std::string &form : forms_of(line.syntax)) {
      const std::string said = give(script_of(line, form));
      const auto expected = refused.find(form);
      EXPECT_EQ(status_, expected == refused.end() ? 0 : expected->second) << form << "\n" << said;
    }
  }
}

// The pipes stand in a paragraph of the reference: each that it names is tried behind each show command.
TEST_F(Reference, pipes_are_understood_behind_every_show_command) {
  const std::set<std::string> pipes = pipes_of_the_reference();
  EXPECT_EQ(pipes, (std::set<std::string>{"begin PATTERN", "count", "exclude PATTERN", "include PATTERN", "json",
                                          "no-more", "save FILE", "section PATTERN"}));
  const std::string saved = directory_.path() + "/saved";
  for (const Line &line : lines_of_the_reference()) {
    const bool has_document = line.syntax != "show scheduler metrics";
    if (!line.syntax.starts_with("show ") || line.syntax.find(" raw ") != std::string::npos) continue;
    const std::string command =
        std::regex_replace(filled_in(*forms_of(line.syntax).begin()), std::regex("<configuration>"), "1");
    for (const std::string &pipe : pipes) {
      const std::string filled =
          std::regex_replace(std::regex_replace(pipe, std::regex("PATTERN"), "."), std::regex("FILE"), saved);
      std::filesystem::remove(saved);
      const std::string said = give(command + " | " + filled + "\n");
      EXPECT_EQ(status_, pipe == "json" && !has_document ? 2 : 0) << command << " | " << filled << "\n" << said;
      if (pipe != "save FILE") continue;
      EXPECT_TRUE(std::filesystem::exists(saved)) << command;
      EXPECT_EQ(said, "") << command;
    }
  }
}

// What the machine's own tables have is not known here.
std::set<int> expected_of(const std::string &form) {
  if (form.starts_with("import crontab system")) return {0, 1, 2};
  if (form.starts_with("import crontab user")) return {255};  // nobody has none
  return form.ends_with(" check") ? std::set<int>{0, 2} : std::set<int>{0};
}

TEST_F(Reference, lines_about_whole_configurations_are_understood_and_carried_out) {
  const std::string site = directory_.path() + "/site.conf", table = directory_.path() + "/site.cron";
  std::ofstream(site) << "feature scheduler\nscheduler job name a\ndate\nend-job\n\n";
  std::ofstream(table) << "30 2 * * * backup\n";
  size_t known = 0;
  for (const Line &line : lines_of_the_reference()) {
    if (!is_of_whole_configurations(line.syntax)) continue;
    for (const std::string &form : forms_of(line.syntax)) {
      known++;
      std::string filled = std::regex_replace(form, std::regex("<path>"), form.starts_with("import") ? table : site);
      if (form.starts_with("copy startup-config <") || form.starts_with("copy running-config <"))
        filled = std::regex_replace(form, std::regex("<path>"), directory_.path() + "/copied.conf");
      filled = std::regex_replace(filled, std::regex("<configuration>"), "1");
      filled = std::regex_replace(filled, std::regex("<minutes>"), "5");
      filled = std::regex_replace(filled, std::regex("<user>"), "nobody");
      give(prelude + "write memory\n");
      if (form == "configure confirm") give("configure replace " + site + " confirm 5\n");
      const std::string said = give(filled + "\n");
      EXPECT_TRUE(expected_of(form).contains(status_)) << form << " " << status_ << "\n" << said;
      if (form.ends_with("<minutes>")) give("configure confirm\n");
    }
  }
  EXPECT_GE(known, 22u);
}

}  // namespace
}  // namespace system_test
