// SPDX-License-Identifier: Apache-2.0
// A job's text in an editor. A POSIX shell's commands stand for the editor: the file's name is behind them.
#include <gmock/gmock.h>
#include <signal.h>
#include <stdlib.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "tests/shell/session_fixture.h"

namespace shell {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

const Calls taken_up = {"create_delete_job \"x\"", "define_job \"x\" \"two\n\""};

class JobEditor : public SessionTest {
 protected:
  JobEditor() {
    char pattern[] = "/tmp/schedsh_editor.XXXXXX";
    directory = mkdtemp(pattern);
    setenv("TMPDIR", directory.c_str(), 1);
    unsetenv("EDITOR");
  }
  ~JobEditor() override {
    std::filesystem::remove_all(directory);
    unsetenv("TMPDIR");
    unsetenv("VISUAL");
    unsetenv("EDITOR");
  }
  void SetUp() override {
    SessionTest::SetUp();
    recorder::objects["job x"] = recorder::job_with("one\n");
  }

  Calls edit_by(const std::string &editor, const Options &options = script_options()) {
    setenv("VISUAL", editor.c_str(), 1);
    Session session(options);
    const Calls calls = calls_of(session, {"edit scheduler job name x"});
    status = session.status();
    return calls;
  }

  // What was kept of the text, and where; both empty: nothing.
  std::pair<std::string, std::string> kept() const {
    std::pair<std::string, std::string> found;
    for (const auto &file : std::filesystem::directory_iterator(directory)) {
      std::ifstream text(file.path());
      found = {{std::istreambuf_iterator<char>(text), {}}, file.path()};
    }
    return found;
  }

  void expect_kept(const std::string &text, const std::string &why) const {
    EXPECT_EQ(status, 255);
    EXPECT_EQ(kept().first, text);
    EXPECT_THAT(err, StartsWith("Error: " + why + "; your text is kept in " + kept().second + "\n"));
  }

  std::string directory;
  int status = -1;
};

TEST_F(JobEditor, changes_the_job_and_leaves_no_file) {
  EXPECT_EQ(edit_by("sed -i s/one/two/"), taken_up);
  EXPECT_EQ(status, 0);
  EXPECT_EQ(err, "");
  EXPECT_EQ(kept().second, "");
}

TEST_F(JobEditor, that_changes_nothing_sends_nothing) {
  EXPECT_EQ(edit_by("true"), Calls{});
  EXPECT_EQ(status, 0);
  EXPECT_EQ(kept().second, "");
}

TEST_F(JobEditor, is_the_operators_choice) {
  setenv("EDITOR", "sed -i s/one/two/", 1);
  EXPECT_EQ(edit_by("true"), Calls{}) << "a screen editor comes first";
  EXPECT_EQ(edit_by(""), taken_up);
}

TEST_F(JobEditor, that_fails_or_is_killed_changes_nothing) {
  for (const std::string editor : {"false", "sed -i s/one/two/ \"$1\"; false", "kill -9 $$;"}) {
    EXPECT_EQ(edit_by(editor), Calls{});
    EXPECT_EQ(status, 255) << editor;
    EXPECT_EQ(err, "Error: the editor '" + editor + "' failed; the job stays as it was\n");
    EXPECT_EQ(kept().second, "");
  }
}

TEST_F(JobEditor, writes_behind_what_was_shown_before_it) {
  testing::internal::CaptureStdout();
  setenv("VISUAL", "echo edited;:", 1);
  Session session(script_options());
  std::fputs("shown ", stdout);
  session.feed("edit scheduler job name x");
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "shown edited\n");
}

// What an earlier call has left there is no reason to wait again.
TEST_F(JobEditor, is_waited_for_once) {
  Options options = script_options();
  options.before_command = [] { errno = EINTR; };
  EXPECT_EQ(edit_by("sed -i s/one/two/", options), taken_up);
}

TEST_F(JobEditor, gets_the_signals_that_the_shell_keeps_from_itself) {
  sigset_t interrupt, before;
  sigemptyset(&interrupt);
  sigaddset(&interrupt, SIGINT);
  sigprocmask(SIG_BLOCK, &interrupt, &before);
  const auto pipe = signal(SIGPIPE, SIG_IGN), key = signal(SIGINT, SIG_IGN);
  edit_by("grep -E 'Sig(Blk|Ign)' /proc/self/status >" + directory + "/signals; true");
  signal(SIGPIPE, pipe);
  signal(SIGINT, key);
  sigprocmask(SIG_SETMASK, &before, nullptr);
  std::ifstream signals(directory + "/signals");
  std::string what, mask;
  int lines = 0;
  while (signals >> what >> mask) {
    constexpr uint64_t kept_away = uint64_t{1} << (SIGPIPE - 1) | uint64_t{1} << (SIGINT - 1);
    EXPECT_EQ(std::strtoull(mask.c_str(), nullptr, 16) & kept_away, 0u) << what;
    lines++;
  }
  EXPECT_EQ(lines, 2);
}

TEST_F(JobEditor, whose_text_no_job_can_have_keeps_it) {
  for (const std::string end : {"end-job", "end"}) {
    EXPECT_EQ(edit_by("sed -i s/one/" + end + "/"), Calls{});
    expect_kept(end + "\n", "a line 'end-job' or 'end' cannot be part of a job");
    std::filesystem::remove(kept().second);
  }
  EXPECT_EQ(edit_by("sed -i s/one/a\\\\x07/"), Calls{});
  expect_kept("a\a\n",
              "line 1 of the job's text has ^G at byte 2; of control characters only tabs and line ends may be in it");
}

TEST_F(JobEditor, that_took_longer_than_another_operator_keeps_the_text) {
  recorder::objects_then["job x"] = recorder::job_with("theirs\n");
  EXPECT_EQ(edit_by("sed -i s/one/two/"), Calls{});
  expect_kept("two\n", "the job was changed by somebody else meanwhile");
  EXPECT_THAT(err, HasSubstr("\nthis has changed since:\n scheduler job name x\n-one\n+theirs\n end-job\n"));
}

TEST_F(JobEditor, whose_job_was_deleted_meanwhile_keeps_the_text) {
  recorder::objects_then["job x"] = {};
  EXPECT_EQ(edit_by("sed -i s/one/two/"), Calls{});
  expect_kept("two\n", "the job was changed by somebody else meanwhile");
  EXPECT_THAT(err, HasSubstr("\njob x was deleted since:\n-scheduler job name x\n-one\n-end-job\n"));
}

TEST_F(JobEditor, without_an_answer_keeps_the_text) {
  recorder::objects_then["job x"] = recorder::bytes_of("?");
  EXPECT_EQ(edit_by("sed -i s/one/two/"), Calls{});
  expect_kept("two\n",
              "the scheduler service sent an unexpected reply; check that shell and service have the same version");
}

TEST_F(JobEditor, whose_text_the_service_refuses_keeps_it) {
  recorder::statuses["define_job"] = 9;
  recorder::statuses["create_delete_job"] = 255;
  recorder::messages["create_delete_job"] = "Error: job exists\n";
  EXPECT_EQ(edit_by("sed -i s/one/two/"), taken_up);
  EXPECT_EQ(status, 9);
  status = 255;
  expect_kept("two\n", "the text was not taken");
}

TEST_F(JobEditor, wants_a_job_that_is_there) {
  recorder::objects["job x"] = {};
  edit_by("false");
  EXPECT_EQ(err, "Error: job x: no such job\n");
  recorder::objects.clear();
  edit_by("false");
  EXPECT_THAT(err, StartsWith("Error: job x: the scheduler service is not running"));
  EXPECT_EQ(status, 255);
}

TEST_F(JobEditor, wants_a_place_for_the_text) {
  setenv("TMPDIR", "/nowhere", 1);
  edit_by("sed -i s/one/two/");
  EXPECT_EQ(err, "Error: no file for the text: No such file or directory\n");
  EXPECT_EQ(status, 255);
  for (const bool given : {true, false}) {  // an empty one is none
    given ? setenv("TMPDIR", "", 1) : unsetenv("TMPDIR");
    edit_by("printf '%s' \"$1\" >" + directory + "/place; :");
    EXPECT_THAT(kept().first, StartsWith("/tmp/schedsh-job.")) << given;
  }
}

TEST_F(JobEditor, does_not_read_the_commands_that_follow) {
  Options options = script_options();
  options.input_is_stdin = true;
  EXPECT_EQ(edit_by("sed -i s/one/two/", options), Calls{});
  EXPECT_EQ(err, "Error: the commands come from standard input, which the editor would read\n");
  EXPECT_EQ(status, 255);
}

}  // namespace
}  // namespace shell
