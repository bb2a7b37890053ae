// SPDX-License-Identifier: Apache-2.0
// The program with its options, files and pipes. No service listens in its state directory.
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "tests/shell/pseudo_terminal.h"

namespace shell {
namespace {

constexpr const char *not_running =
    "Error: the scheduler service is not running; start schedd, or check the state directory\n";

class Program : public testing::Test {
 protected:
  void SetUp() override {
    char pattern[] = "/tmp/schedsh_test.XXXXXX";
    ASSERT_NE(mkdtemp(pattern), nullptr);
    directory = pattern;
  }
  void TearDown() override { std::filesystem::remove_all(directory); }

  // Runs the program by a POSIX shell; its output and errors go to `output`, in their order.
  int run(const std::string &arguments, const std::string &before = "") {
    const std::string line = before + " " + SCHEDSH " --state-dir " + directory + " " + arguments + " 2>&1";
    FILE *pipe = popen(line.c_str(), "r");
    output.clear();
    char buffer[4096];
    for (size_t length = 0; (length = fread(buffer, 1, sizeof buffer, pipe)) > 0;)
      output.append(buffer, length);
    const int status = pclose(pipe);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }

  std::string file(const std::string &text, const std::string &name = "commands") const {
    const std::string path = directory + "/" + name;
    std::ofstream(path) << text;
    return path;
  }

  std::string directory, output;
};

TEST_F(Program, tells_its_version_and_its_usage) {
  EXPECT_EQ(run("--version"), 0);
  EXPECT_EQ(output.rfind("schedsh ", 0), 0u);
  EXPECT_EQ(run("--help"), 0);
  EXPECT_EQ(output.rfind("Usage:\n  schedsh [OPTION", 0), 0u) << output;
}

TEST_F(Program, refuses_what_it_does_not_understand_with_status_2) {
  const std::pair<const char *, const char *> rows[] = {
      {"--nonsense", "schedsh: Unknown option --nonsense; see schedsh --help\n"},
      {"-c", "schedsh: Missing argument for -c; see schedsh --help\n"},
      {"one two", "schedsh: more than one file is named; see schedsh --help\n"},
      {"-c help file", "schedsh: commands come from a file or from -c, not from both; see schedsh --help\n"},
      {"/nowhere/file", "schedsh: /nowhere/file: No such file or directory\n"}};
  for (const auto &[arguments, message] : rows) {
    EXPECT_EQ(run(arguments, "</dev/null"), 2) << arguments;
    EXPECT_EQ(output, message) << arguments;
  }
}

TEST_F(Program, takes_a_long_option_by_a_prefix_that_no_other_has) {
  EXPECT_EQ(run("--vers"), 0);
  EXPECT_EQ(output.rfind("schedsh ", 0), 0u) << output;
  EXPECT_EQ(run("--stop --com 'show scheduler job' -c nonsense"), 1);
  EXPECT_EQ(output, not_running);
  EXPECT_EQ(run("-c --vers"), 2) << "a command, although it looks like an option";
  EXPECT_EQ(run("--st /nowhere"), 2);
  EXPECT_EQ(output, "schedsh: Unknown option --st; see schedsh --help\n");
}

TEST_F(Program, takes_a_command_behind_its_letter_and_one_that_looks_like_an_option) {
  EXPECT_EQ(run("'-cshow scheduler job'"), 1);
  EXPECT_EQ(output, not_running);
  EXPECT_EQ(run("'-ecshow scheduler job' -cnonsense"), 1);
  EXPECT_EQ(run("-c --help"), 2);
  EXPECT_EQ(output.rfind("\"--help\"", 0), 0u) << output;
}

TEST_F(Program, gives_the_handlers_status_and_message_when_no_service_runs) {
  EXPECT_EQ(run("-c 'show scheduler job'"), 1);
  EXPECT_EQ(output, not_running);
  EXPECT_EQ(run("-c 'scheduler job name x' -c 'end-job'"), 255);
  EXPECT_EQ(output, std::string("Error: create job failed: ") + (not_running + 7));
}

TEST_F(Program, takes_commands_from_a_file_and_names_file_and_line) {
  const std::string path = file("# comment\nshow scheduler job\nnonsense\n");
  EXPECT_EQ(run(path), 2);
  EXPECT_EQ(output.rfind(not_running + path + ":2: failed with status 1\n" + path + ":3: \"nonsense\" at column 1", 0),
            0u)
      << output;
}

TEST_F(Program, keeps_its_answers_and_its_complaints_in_their_order) {
  EXPECT_EQ(run("-c help -c nonsense -c help"), 2);
  const size_t complaint = output.find("\"nonsense\" at column 1");
  ASSERT_NE(complaint, std::string::npos) << output;
  EXPECT_NE(output.rfind("configure", complaint), std::string::npos) << output;
  EXPECT_NE(output.find("configure", output.find('\n', complaint)), std::string::npos) << output;
}

TEST_F(Program, has_written_an_answer_before_the_library_complains_of_the_next_command) {
  EXPECT_EQ(run("-c help -c 'show scheduler job'"), 1);
  EXPECT_EQ(output.rfind("configure", 0), 0u) << output;
  EXPECT_TRUE(output.ends_with(not_running)) << output;
}

TEST_F(Program, takes_commands_from_a_pipe) {
  EXPECT_EQ(run("", "printf 'show scheduler job\\n' |"), 1);
  EXPECT_EQ(output, std::string(not_running) + "standard input:1: failed with status 1\n");
}

TEST_F(Program, is_a_persons_where_a_terminal_gives_the_commands) {
  PseudoTerminal terminal([this] {
    setenv("SCHEDSH_HISTORY", "", 1);
    // The line editor keeps the names of the functions that were added to it until the process ends.
    setenv("LSAN_OPTIONS", "exitcode=0", 1);
    execl(SCHEDSH, "schedsh", "--state-dir", directory.c_str(), static_cast<char *>(nullptr));
    return 127;
  });
  ASSERT_TRUE(terminal.asks("schedsh> "));
  terminal.type("feature scheduler\r");
  ASSERT_TRUE(terminal.sees("it is a configuration command"));
  ASSERT_TRUE(terminal.asks("schedsh> "));
  EXPECT_EQ(terminal.everything().find("failed with status"), std::string::npos) << "a person sees it";
  terminal.type("import crontab " + file("0 1 * * * x\n", "x.cron") + "\r");
  ASSERT_TRUE(terminal.sees("Configure this? [y/N] "));
  terminal.type("n\r");
  ASSERT_TRUE(terminal.asks("schedsh> "));
  terminal.type("exit\r");
  EXPECT_EQ(terminal.wait_for_end(), 255);
}

TEST_F(Program, has_no_screen_to_change_without_a_terminal) {
  EXPECT_EQ(run("-c 'terminal width 40' -c 'terminal length 40'", "</dev/null"), 255);
  EXPECT_EQ(output, "Error: terminal width: there is no terminal\nError: terminal length: there is no terminal\n");
}

TEST_F(Program, ends_at_exit_wherever_its_commands_come_from) {
  EXPECT_EQ(run("-c exit -c nonsense"), 0);
  EXPECT_EQ(run(file("exit\nnonsense\n")), 0);
  EXPECT_EQ(run("-c 'scheduler job name x' -c one"), 255);
  EXPECT_NE(output.find("the input ends before the 'end-job' of job x"), std::string::npos) << output;
}

TEST_F(Program, takes_an_empty_input_as_success) {
  EXPECT_EQ(run("", "</dev/null"), 0);
}

TEST_F(Program, refuses_what_is_no_file_of_commands_and_lines_without_end) {
  EXPECT_EQ(run(directory), 2);
  EXPECT_EQ(output, directory + ": Is a directory\n");
  EXPECT_EQ(run("/dev/zero"), 2);
  EXPECT_EQ(output, "/dev/zero: is a device, no file\n");
  EXPECT_EQ(run("", "timeout 60 yes | tr -d '\\n' |"), 2);
  EXPECT_EQ(output, "standard input: a line does not end\n");
  EXPECT_EQ(run("/dev/null"), 0);
}

TEST_F(Program, stops_at_the_first_failure_with_e_alone) {
  EXPECT_EQ(run("-c 'show scheduler job' -c undebug"), 1);
  EXPECT_EQ(run("-c 'show scheduler job' -c nonsense"), 2);
  EXPECT_EQ(run("-e -c 'show scheduler job' -c nonsense"), 1);
  EXPECT_EQ(run("-e " + file("show scheduler job\nnonsense\n")), 1);
}

TEST_F(Program, fails_when_its_output_does_not_arrive) {
  EXPECT_EQ(run("--manual >/dev/full"), 255);
  EXPECT_EQ(run("-c help >/dev/full"), 255);
}

struct Typed {
  const char *words, *completed;
};

const Typed typed[] = {
    {"--st", "--state-dir"},
    {"-c \\\"sh", "show"},
    {"-c \\\"show\\ run", "show running-config"},
    {"-c \\\"show\\ scheduler\\ his", "show scheduler history"},
    {"/etc/hosts", "/etc/hosts"},
};

TEST_F(Program, has_its_command_line_completed_by_bash) {
  for (const Typed &line : typed) {
    const std::string script = std::string("source " BASH_COMPLETION "; COMP_WORDS=(schedsh ") + line.words +
                               "); COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); _schedsh " SCHEDSH
                               "; printf '%s\\n' \"${COMPREPLY[@]}\" | sort | head -1";
    const std::string path = file(script);
    FILE *pipe = popen(("bash " + path).c_str(), "r");
    char buffer[256] = "";
    std::string said;
    while (fgets(buffer, sizeof buffer, pipe) != nullptr)
      said += buffer;
    pclose(pipe);
    EXPECT_EQ(said, std::string(line.completed) + "\n") << line.words;
  }
}

TEST_F(Program, shows_no_password_in_the_list_of_processes_and_leaves_no_core) {
  PseudoTerminal terminal([this] {
    execl(SCHEDSH, "schedsh", "--state-dir", directory.c_str(), "-c", "scheduler aaa-authentication password secret",
          "-cscheduler aaa-authentication password secret", "-c", "scheduler aaa-authentication",
          static_cast<char *>(nullptr));
    return 127;
  });
  ASSERT_TRUE(terminal.sees("Password: ")) << terminal.everything();
  const std::string process = "/proc/" + std::to_string(terminal.child());
  std::ifstream line(process + "/cmdline"), limits(process + "/limits");
  const std::string arguments{std::istreambuf_iterator<char>(line), {}};
  EXPECT_NE(arguments.find("--state-dir"), std::string::npos);
  EXPECT_EQ(arguments.find("secret"), std::string::npos);
  const std::string bounds{std::istreambuf_iterator<char>(limits), {}};
  EXPECT_NE(bounds.find("Max core file size        0                    0 "), std::string::npos) << bounds;
}

}  // namespace
}  // namespace shell
