// SPDX-License-Identifier: Apache-2.0
// Configuration text, in both forms in which the system writes it, comes back as the same requests.
#include <cerrno>
#include <cstdio>
#include <memory>
#include <utility>

#include "shell/script.h"
#include "tests/shell/session_fixture.h"

namespace shell {
namespace {

class Replay : public SessionTest {
 protected:
  Calls replay(Session &session, const std::string &text, bool stop_at_failure = false) {
    const std::unique_ptr<FILE, int (*)(FILE *)> file(std::tmpfile(), std::fclose);
    std::fwrite(text.data(), 1, text.size(), file.get());
    std::rewind(file.get());
    recorder::calls.clear();
    testing::internal::CaptureStderr();
    run_script(session, file.get(), "saved.cfg", stop_at_failure);
    err = testing::internal::GetCapturedStderr();
    return recorder::calls;
  }
};

TEST_F(Replay, of_the_generated_configuration_makes_every_request) {
  Session session(script_options());
  const Calls calls = replay(session,
                             "feature scheduler\n"
                             "scheduler logfile size 32\n\n"
                             "scheduler transport email from switch@example.net\n"
                             "scheduler transport email reply-to admin@example.net\n"
                             "scheduler transport email smtp-server  mail.example.net\n"
                             "scheduler transport email smtp-server 10.0.0.1 port 2525\n"
                             "scheduler job name backup\n"
                             "first command\n"
                             "  second command\n"
                             "end-job\n\n"
                             "scheduler job name empty\n"
                             "end-job\n\n"
                             "scheduler schedule name nightly\n"
                             " job name backup\n"
                             " job name empty\n"
                             "  time daily 23:30\n"
                             "email-addr a@example.net\n"
                             "\n"
                             "scheduler schedule name unset\n"
                             "  email-addr b@example.net\n"
                             "\n"
                             "scheduler schedule name bare\n"
                             "  \n"
                             "scheduler schedule name minute\n"
                             "  time daily 05\n"
                             "\n"
                             "scheduler schedule name weekly\n"
                             "  time weekly 02:10:00\n"
                             "\n"
                             "scheduler schedule name monthly\n"
                             "  time monthly 31:00:00\n"
                             "\n"
                             "scheduler schedule name once\n"
                             "  time start 2026:12:05:07:00\n"
                             "\n"
                             "scheduler schedule name often\n"
                             "  time start 2026:12:05:07:00 repeat 0:1:30\n"
                             "\n"
                             "logging level scheduler 7\n");
  EXPECT_EQ(calls, (Calls{
                       "enable_scheduler",
                       "logfile_resize 32",
                       "email_transport /109 \"switch@example.net\"",
                       "email_transport /110 \"admin@example.net\"",
                       "email_transport /111 \"mail.example.net\"@8",
                       "email_transport /111 \"10.0.0.1\"@40000002 2525",
                       "create_delete_job \"backup\"",
                       "define_job \"backup\" \"first command\n  second command\n\"",
                       "create_delete_job \"empty\"",
                       "create_delete_schedule \"nightly\"",
                       "modify_schedule /999 \"nightly\" \"backup\"",
                       "modify_schedule /999 \"nightly\" \"empty\"",
                       "modify_schedule /3 \"nightly\" \"23:30\"",
                       "emailaddr \"nightly\" \"a@example.net\"",
                       "create_delete_schedule \"unset\"",
                       "emailaddr \"unset\" \"b@example.net\"",
                       "create_delete_schedule \"bare\"",
                       "create_delete_schedule \"minute\"",
                       "modify_schedule /3 \"minute\" \"05\"",
                       "create_delete_schedule \"weekly\"",
                       "modify_schedule /4 \"weekly\" \"02:10:00\"",
                       "create_delete_schedule \"monthly\"",
                       "modify_schedule /5 \"monthly\" \"31:00:00\"",
                       "create_delete_schedule \"once\"",
                       "modify_schedule /1 \"once\" \"2026:12:05:07:00\"",
                       "create_delete_schedule \"often\"",
                       "modify_schedule /7 \"often\" \"2026:12:05:07:00\" \"0:1:30\"",
                       "control set_logging_level 7",
                   }));
  EXPECT_EQ(err, "");
  EXPECT_EQ(session.status(), 0);
}

TEST_F(Replay, of_the_shown_configuration_makes_every_request) {
  Session session(script_options());
  const Calls calls = replay(session,
                             "config terminal\n"
                             "  feature scheduler\n"
                             "  scheduler logfile size 16\n"
                             "  scheduler transport email from switch@example.net\n"
                             "  scheduler transport email reply-to  admin@example.net\n"
                             "  scheduler transport email smtp-server mail.example.net port 2525\n"
                             "end\n"
                             "\n"
                             "config terminal\n"
                             " scheduler job name backup\n"
                             "first command\n"
                             "end\n"
                             "\n"
                             "config terminal\n"
                             "  scheduler schedule name nightly\n"
                             "    time weekly 02:10:00\n"
                             "    job name backup\n"
                             "    email-addr a@example.net\n"
                             "end\n"
                             "\n"
                             "config terminal\n"
                             "  scheduler schedule name unset\n"
                             "        job name backup\n"
                             "end\n"
                             "\n"
                             "config terminal\n"
                             "  scheduler schedule name often\n"
                             "    time start 2026:12:05:07:00 repeat 5\n"
                             "end\n"
                             "\n");
  EXPECT_EQ(calls, (Calls{
                       "enable_scheduler",
                       "logfile_resize 16",
                       "email_transport /109 \"switch@example.net\"",
                       "email_transport /110 \"admin@example.net\"",
                       "email_transport /111 \"mail.example.net\"@8 2525",
                       "create_delete_job \"backup\"",
                       "define_job \"backup\" \"first command\n\"",
                       "create_delete_schedule \"nightly\"",
                       "modify_schedule /4 \"nightly\" \"02:10:00\"",
                       "modify_schedule /999 \"nightly\" \"backup\"",
                       "emailaddr \"nightly\" \"a@example.net\"",
                       "create_delete_schedule \"unset\"",
                       "modify_schedule /999 \"unset\" \"backup\"",
                       "create_delete_schedule \"often\"",
                       "modify_schedule /7 \"often\" \"2026:12:05:07:00\" \"5\"",
                   }));
  EXPECT_EQ(err, "");
  EXPECT_EQ(session.status(), 0);
  EXPECT_EQ(session.mode(), Mode::exec);
}

TEST_F(Replay, goes_on_after_an_error_with_its_place_in_the_message) {
  Session session(script_options());
  EXPECT_EQ(replay(session, "\nshow schedler job\nshow scheduler config\n"), Calls{"show_config"});
  EXPECT_EQ(err,
            "saved.cfg:2: \"schedler\" at column 6 is not known here; expected: scheduler, version, clock, "
            "running-config, startup-config, configuration, logging\n");
  EXPECT_EQ(session.status(), 2);
}

TEST_F(Replay, stops_at_the_first_failure_when_it_is_told_to) {
  recorder::statuses["show_config"] = 3;
  Session session(script_options());
  EXPECT_EQ(replay(session, "show scheduler config\nshow scheduler job\n", true), Calls{"show_config"});
  EXPECT_EQ(session.status(), 3);
}

TEST_F(Replay, ends_with_exit_of_the_first_mode) {
  Session session(script_options());
  EXPECT_EQ(replay(session, "exit\nshow scheduler job\n"), Calls{});
  EXPECT_EQ(session.status(), 0);
}

TEST_F(Replay, takes_a_last_line_without_its_end) {
  Session session(script_options());
  EXPECT_EQ(replay(session, "show scheduler job"), Calls{"show_jobs"});
}

TEST_F(Replay, refuses_a_line_without_end_and_keeps_a_bounded_part_of_it) {
  Session session(script_options());
  EXPECT_EQ(replay(session, std::string(3 * job_text_limit, 'x') + "\nshow scheduler job\n"), Calls{"show_jobs"});
  EXPECT_EQ(err, "saved.cfg:1: the line is too long at column 8193\n");
}

struct Broken {
  std::string text;
  bool given = false;
};

ssize_t read_broken(void *cookie, char *buffer, size_t size) {
  auto *broken = static_cast<Broken *>(cookie);
  if (std::exchange(broken->given, true)) {
    errno = EIO;
    return -1;
  }
  return static_cast<ssize_t>(broken->text.copy(buffer, size));
}

TEST_F(Replay, tells_first_why_it_ends_and_then_what_was_left_open) {
  Broken broken{"scheduler job name x\none\n"};
  const std::unique_ptr<FILE, int (*)(FILE *)> file(fopencookie(&broken, "r", {read_broken, nullptr, nullptr, nullptr}),
                                                    std::fclose);
  Session session(script_options());
  testing::internal::CaptureStderr();
  run_script(session, file.get(), "saved.cfg", false);
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "saved.cfg: Input/output error\n"
            "saved.cfg:2: Error: the input ends before the 'end-job' of job x; nothing was changed\n");
  EXPECT_EQ(session.status(), 255);
}

TEST_F(Replay, refuses_a_job_whose_line_does_not_end) {
  Session session(script_options());
  EXPECT_EQ(replay(session, "scheduler job name x\n" + std::string(3 * job_text_limit, 'x') + "\nend-job\n"), Calls{});
  EXPECT_EQ(err, "saved.cfg:3: Error: the job's text is longer than 61440 bytes\n");
}

}  // namespace
}  // namespace shell
