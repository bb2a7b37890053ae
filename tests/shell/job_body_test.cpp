// SPDX-License-Identifier: Apache-2.0
#include "shell/job_body.h"

#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <iterator>

#include "control/statuses.h"

#include "host/status.h"
#include "tests/shell/session_fixture.h"

namespace shell {
namespace {

class JobLines : public SessionTest {};

TEST_F(JobLines, are_sent_as_they_stand_each_with_its_line_end) {
  Session session(script_options());
  EXPECT_EQ(
      calls_of(session, {"configure terminal", "scheduler job name backup", "  show clock", "# no comment", "",
                         "copy  a\tb ", "end-job"}),
      (Calls{"create_delete_job \"backup\"", "define_job \"backup\" \"  show clock\n# no comment\n\ncopy  a\tb \n\""}));
  EXPECT_EQ(session.mode(), Mode::config);
  EXPECT_EQ(session.status(), 0);
  EXPECT_EQ(recorder::user_name, "operator");
  EXPECT_EQ(recorder::peer_name, "schedsh");
  EXPECT_EQ(recorder::shell_handle, 4711u);
}

TEST_F(JobLines, are_never_taken_for_commands) {
  Session session(script_options());
  EXPECT_EQ(
      calls_of(session, {"scheduler job name x", "no scheduler job name y", "exit", "show scheduler job ?", "end-job"}),
      (Calls{"create_delete_job \"x\"", "define_job \"x\" \"no scheduler job name y\nexit\nshow scheduler job ?\n\""}));
}

struct CloseCase {
  const char *line;
  bool closes;
  Mode mode;
};

const CloseCase close_cases[] = {
    {"end-job", true, Mode::config}, {"  end-job\t", true, Mode::config}, {"end-job\r", true, Mode::config},
    {"end", true, Mode::exec},       {" end", false, Mode::config},       {"end ", false, Mode::config},
    {"ending", false, Mode::config}, {"end-jobs", false, Mode::config},   {"END-JOB", false, Mode::config},
};

TEST_F(JobLines, end_with_end_job_or_with_exactly_end) {
  for (const CloseCase &close : close_cases) {
    Session session(script_options());
    calls_of(session, {"configure terminal", "scheduler job name x", "one", close.line});
    EXPECT_EQ(session.takes_body(), !close.closes) << close.line;
    EXPECT_EQ(session.mode(), close.mode) << close.line;
  }
}

TEST_F(JobLines, may_be_none) {
  Session session(script_options());
  EXPECT_EQ(calls_of(session, {"scheduler job name x", "end-job"}), Calls{"create_delete_job \"x\""});
  EXPECT_EQ(session.status(), 0);
}

TEST_F(JobLines, of_a_job_that_a_script_could_not_create_are_read_past) {
  recorder::statuses["create_delete_job"] = 255;
  Session session(script_options());
  EXPECT_EQ(calls_of(session, {"configure terminal", "scheduler job name x", "no scheduler job name y", "end-job",
                               "scheduler logfile size 32"}),
            (Calls{"create_delete_job \"x\"", "logfile_resize 32"}));
  EXPECT_EQ(session.status(), 255);
}

TEST_F(JobLines, are_not_awaited_from_a_person_whose_job_belongs_to_another) {
  recorder::control_status = control::err_not_owner;
  Options options = script_options();
  options.interactive = true;
  Session session(options);
  calls_of(session, {"configure terminal", "scheduler job name x"});
  EXPECT_EQ(err, "Error: job x: it belongs to another user\n");
  EXPECT_FALSE(session.takes_body());
  EXPECT_EQ(session.prompt(), "schedsh(config)> ");
}

TEST_F(JobLines, replace_the_text_of_a_job_that_is_there) {
  recorder::statuses["create_delete_job"] = 255;
  recorder::messages["create_delete_job"] = "Error: job exists\n";
  Session session(script_options());
  EXPECT_EQ(calls_of(session, {"scheduler job name x", "one", "end-job"}),
            (Calls{"create_delete_job \"x\"", "define_job \"x\" \"one\n\""}));
  EXPECT_EQ(err, "");
  EXPECT_EQ(session.status(), 0);
  EXPECT_EQ(calls_of(session, {"scheduler job name x", "end-job"}),
            (Calls{"create_delete_job \"x\"", "define_job \"x\" \"\""}));
}

TEST_F(JobLines, that_are_refused_leave_a_job_that_was_there) {
  recorder::statuses["create_delete_job"] = 255;
  recorder::messages["create_delete_job"] = "Error: job exists\n";
  recorder::statuses["define_job"] = 0x40bd0025;
  Session session(script_options());
  EXPECT_EQ(calls_of(session, {"scheduler job name x", "one", "end-job"}).size(), 2u);
  EXPECT_EQ(session.status(), 255);
}

TEST_F(JobLines, that_the_service_refuses_take_the_new_job_with_them) {
  recorder::statuses["define_job"] = 0x40bd0025;
  Session session(script_options());
  EXPECT_EQ(calls_of(session, {"scheduler job name x", "one", "end-job"}),
            (Calls{"create_delete_job \"x\"", "define_job \"x\" \"one\n\"", "create_delete_job no \"x\""}));
  EXPECT_EQ(session.status(), 255);
}

TEST_F(JobLines, without_an_end_change_nothing) {
  Session session(script_options());
  calls_of(session, {"scheduler job name x", "one"});
  testing::internal::CaptureStderr();
  session.finish("jobs.cfg:2");
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "jobs.cfg:2: Error: the input ends before the 'end-job' of job x; nothing was changed\n");
  EXPECT_EQ(recorder::calls, Calls{});
  EXPECT_EQ(session.status(), 255);
}

TEST_F(JobLines, given_up_by_an_interrupt_change_nothing) {
  Session session(script_options());
  calls_of(session, {"configure terminal", "scheduler job name x", "one"});
  session.interrupt();
  EXPECT_FALSE(session.takes_body());
  calls_of(session, {"show scheduler config"});
  EXPECT_EQ(recorder::calls, Calls{"show_config"});
}

TEST_F(JobLines, are_bounded_in_their_sum) {
  for (const size_t over : {0u, 1u}) {
    Session session(script_options());
    const std::string line(job_text_limit / 2 - 1, 'x');
    const Calls calls = calls_of(session, {"scheduler job name x", line, line + std::string(over, 'x'), "end-job"});
    EXPECT_EQ(session.status(), over == 0 ? 0 : 255);
    EXPECT_EQ(calls, over == 0 ? (Calls{"create_delete_job \"x\"", "define_job \"x\" \"" + line + "\n" + line + "\n\""})
                               : Calls{});
    EXPECT_EQ(err, over == 0 ? "" : "Error: the job's text is longer than 61440 bytes\n");
  }
}

TEST_F(JobLines, with_a_nul_byte_are_refused) {
  Session session(script_options());
  EXPECT_EQ(calls_of(session, {"scheduler job name x", std::string("a\0b", 3), "more", "end-job"}), Calls{});
  EXPECT_EQ(err, "Error: the job's text has a NUL byte\n");
}

TEST_F(JobLines, with_a_control_character_are_refused_with_its_place) {
  Session session(script_options());
  EXPECT_EQ(calls_of(session, {"scheduler job name x", "one", "two\x1b[1m", "\x07", "end-job"}), Calls{});
  EXPECT_EQ(err,
            "Error: line 2 of the job's text has ^[ at byte 4; of control characters only tabs and line ends may be "
            "in it\n");
}

TEST_F(JobLines, of_a_file_with_carriage_returns_are_taken_without_them) {
  Session session(script_options());
  EXPECT_EQ(calls_of(session, {"scheduler job name x", "one\r", "two\r", "end-job\r"}).back(),
            "define_job \"x\" \"one\ntwo\n\"");
}

TEST_F(JobLines, may_have_no_carriage_return_but_that_of_their_end) {
  Session session(script_options());
  EXPECT_EQ(calls_of(session, {"scheduler job name x", "one\r\r", "end-job"}), Calls{});
  EXPECT_EQ(err.rfind("Error: line 1 of the job's text has ^M at byte 4;", 0), 0u) << err;
}

TEST_F(JobLines, that_are_none_cannot_be_taken_back) {
  Session session(script_options());
  calls_of(session, {"scheduler job name x"});
  EXPECT_EQ(session.take_back(), std::nullopt);
  calls_of(session, {"one"});
  EXPECT_EQ(session.take_back(), "one");
  EXPECT_EQ(session.take_back(), std::nullopt);
  EXPECT_EQ(calls_of(session, {"two", "\x07", "end-job"}), Calls{});
  EXPECT_EQ(err.rfind("Error: line 2 of", 0), 0u) << err;
}

class JobOfSeveral : public SessionTest {
 protected:
  JobOfSeveral() {
    mkdtemp(directory.data());
    setenv("TMPDIR", directory.c_str(), 1);
    options.interactive = true;
  }
  ~JobOfSeveral() override {
    unsetenv("TMPDIR");
    std::filesystem::remove_all(directory);
  }

  // The calls that a block of one line "mine" makes, begun when the job was `before` and ended when it is `now`.
  Calls block(const host::Bytes &before, const host::Bytes &now) {
    recorder::control_statuses[control::Operation::find] = before.empty() ? control::err_no_such_job : 0;
    recorder::objects["job x"] = before;
    recorder::objects_then["job x"] = now;
    Session session(options);
    calls_of(session, {"configure terminal", "scheduler job name x"});
    began = out;
    const Calls calls = calls_of(session, {"mine", "end-job"});
    status = session.status();
    return calls;
  }

  std::string kept() const {
    std::string text;
    for (const auto &file : std::filesystem::directory_iterator(directory)) {
      std::ifstream from(file.path());
      text.append(std::istreambuf_iterator<char>(from), {});
    }
    return text;
  }

  void expect_refused(const std::string &told) const {
    EXPECT_EQ(status, 255);
    EXPECT_EQ(err.rfind("Error: the job was changed by somebody else meanwhile; your text is kept in " + directory, 0),
              0u);
    EXPECT_EQ(err.substr(err.find('\n') + 1), told + "give the block again to replace what is there now\n");
    EXPECT_EQ(kept(), "mine\n");
  }

  const Calls defined = {"create_delete_job \"x\"", "define_job \"x\" \"mine\n\""};
  std::string directory = "/tmp/schedsh_body.XXXXXX", began;
  Options options = script_options();
  int status = -1;
};

TEST_F(JobOfSeveral, is_defined_where_nobody_else_did_or_did_the_same) {
  EXPECT_EQ(block(recorder::job_with("one\n"), recorder::job_with("one\n")), defined);
  EXPECT_EQ(began, "Job x is there: 'end-job' replaces its commands by these lines, control-C leaves it as it is.\n");
  EXPECT_EQ(block({}, {}), defined);
  EXPECT_EQ(began, "");
  EXPECT_EQ(block(recorder::job_with("one\n"), recorder::job_with("mine\n")), defined);
  EXPECT_EQ(status, 0);
  EXPECT_EQ(err, "");
}

TEST_F(JobOfSeveral, is_left_as_somebody_else_has_made_it) {
  EXPECT_EQ(block(recorder::job_with("one\n"), recorder::job_with("theirs\n")), Calls{});
  expect_refused("this has changed since:\n scheduler job name x\n-one\n+theirs\n end-job\n");
}

TEST_F(JobOfSeveral, is_not_created_again_where_somebody_else_has_deleted_it) {
  EXPECT_EQ(block(recorder::job_with("one\n"), {}), Calls{});
  expect_refused("job x was deleted since:\n-scheduler job name x\n-one\n-end-job\n");
}

TEST_F(JobOfSeveral, is_left_to_a_script) {
  options.interactive = false;
  EXPECT_EQ(block(recorder::job_with("one\n"), recorder::job_with("theirs\n")), defined);
  EXPECT_EQ(began, "");
}

TEST_F(JobOfSeveral, tells_a_wrong_line_at_once_and_once) {
  Session session(options);
  calls_of(session, {"configure terminal", "scheduler job name x"});
  calls_of(session, {"one"});
  EXPECT_EQ(err, "");
  calls_of(session, {"\x07"});
  EXPECT_EQ(err.rfind("Error: line 2 of the job's text has ^G", 0), 0u) << err;
  EXPECT_TRUE(err.ends_with("; the up key takes the line back\n"));
  calls_of(session, {"two"});
  EXPECT_EQ(err, "");
}

TEST_F(JobLines, are_taken_back_one_by_one_with_what_was_wrong_with_them) {
  Session session(script_options());
  EXPECT_EQ(session.take_back(), std::nullopt);
  calls_of(session, {"scheduler job name x", "one", "two", "\x07"});
  EXPECT_EQ(session.take_back(), "\x07");
  EXPECT_EQ(session.take_back(), "two");
  EXPECT_EQ(calls_of(session, {"three", "end-job"}).back(), "define_job \"x\" \"one\nthree\n\"");
  EXPECT_EQ(err, "");
}

TEST_F(JobLines, show_the_job_in_the_prompt) {
  Session session(script_options());
  calls_of(session, {"scheduler job name x"});
  EXPECT_EQ(session.prompt(), "schedsh(job x)> ");
}

class JobInOneLine : public SessionTest {};

TEST_F(JobInOneLine, is_created_and_defined) {
  Session session(script_options());
  EXPECT_EQ(calls_of(session, {"scheduler job name x commands ip link;df -h"}),
            (Calls{"create_delete_job \"x\"", "semicolon_define \"x\" \"ip link;df -h\""}));
  EXPECT_FALSE(session.takes_body());
}

struct QuoteCase {
  const char *commands, *text;
};

const QuoteCase quote_cases[] = {
    {"\"ip link;df -h\"", "ip link\ndf -h\n"},
    {"echo \"a;b\";date", "echo \"a;b\"\ndate\n"},
    {"echo 'a;\"b' ; date ", "echo 'a;\"b' \n date\n"},
    {";\"a\";;b", "\"a\"\nb\n"},
    {"echo it's;date", "echo it's;date\n"},
};

TEST_F(JobInOneLine, keeps_together_what_stands_in_quotes) {
  for (const QuoteCase &quote : quote_cases) {
    Session session(script_options());
    EXPECT_EQ(calls_of(session, {std::string("scheduler job name x commands ") + quote.commands}).back(),
              std::string("define_job \"x\" \"") + quote.text + "\"");
  }
}

TEST_F(JobInOneLine, is_not_defined_when_it_could_not_be_created) {
  recorder::statuses["create_delete_job"] = 255;
  Session session(script_options());
  EXPECT_EQ(calls_of(session, {"scheduler job name x commands a"}), Calls{"create_delete_job \"x\""});
  EXPECT_EQ(session.status(), 255);
}

TEST_F(JobInOneLine, is_taken_back_when_its_text_is_refused) {
  recorder::statuses["semicolon_define"] = 2;
  Session session(script_options());
  EXPECT_EQ(calls_of(session, {"scheduler job name x commands a"}),
            (Calls{"create_delete_job \"x\"", "semicolon_define \"x\" \"a\"", "create_delete_job no \"x\""}));
  EXPECT_EQ(session.status(), 2);
}

}  // namespace
}  // namespace shell
