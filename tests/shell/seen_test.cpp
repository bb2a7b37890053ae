// SPDX-License-Identifier: Apache-2.0
#include "shell/seen.h"

#include <gtest/gtest.h>

#include <cstring>

#include "host/status.h"
#include "schedcli.h"
#include "tests/shell/recorder.h"

namespace shell {
namespace {

const Identity me = {"operator", "schedsh", 4711};

class Seen : public testing::Test {
 protected:
  Seen() { recorder::reset(); }
};

host::Bytes reply_with_length(int32_t length, const std::string &behind) {
  host::Bytes reply = recorder::job_with(behind);
  std::memcpy(reply.data() + offsetof(sch_show_job_reply, length), &length, sizeof length);
  return reply;
}

TEST_F(Seen, job_is_its_text_as_the_service_has_it) {
  for (const std::string text : {"", "one\n", "one\ntwo\n"}) {
    recorder::objects["job x"] = recorder::job_with(text);
    EXPECT_EQ(**job_in_use(me, "x"), text);
  }
  EXPECT_EQ(recorder::user_name, "operator");
  EXPECT_EQ(recorder::peer_name, "schedsh");
  recorder::objects["job x"] = reply_with_length(3, "one\n");
  EXPECT_EQ(**job_in_use(me, "x"), "one");
  recorder::objects["job x"] = {};
  EXPECT_EQ(*job_in_use(me, "x"), std::nullopt);
  EXPECT_EQ(job_in_use(me, "y").code(), host::err_not_running);
}

TEST_F(Seen, job_in_an_answer_that_does_not_fit_is_none) {
  const host::Bytes whole = recorder::job_with("");
  for (const host::Bytes &reply :
       {host::Bytes(whole.begin(), whole.end() - 1), reply_with_length(5, "one\n"), reply_with_length(-1, "one\n")}) {
    recorder::objects["job x"] = reply;
    EXPECT_EQ(job_in_use(me, "x").code(), host::err_bad_reply);
  }
}

TEST_F(Seen, job_and_the_one_of_now_tell_what_happened_between) {
  EXPECT_EQ(change_since("x", "one\n", "one\n"), std::nullopt);
  EXPECT_EQ(change_since("x", std::nullopt, std::nullopt), std::nullopt);
  EXPECT_EQ(change_since("x", "one\n", "two\n"),
            "this has changed since:\n scheduler job name x\n-one\n+two\n end-job\n");
  EXPECT_EQ(change_since("x", "one\n", std::nullopt),
            "job x was deleted since:\n-scheduler job name x\n-one\n-end-job\n");
  EXPECT_EQ(change_since("x", std::nullopt, "two\n"),
            "job x was created since:\n+scheduler job name x\n+two\n+end-job\n");
}

sch_show_schedule_reply daily() {
  sch_show_schedule_reply shown = {};
  shown.time = recorder::daily(7, 5);
  return shown;
}

host::Bytes schedule_with(const sch_show_schedule_reply &shown, const std::vector<std::string> &jobs = {}) {
  std::string text(reinterpret_cast<const char *>(&shown), sizeof shown);
  for (const std::string &job : jobs) {
    sch_job_status_entry entry = {};
    job.copy(entry.name, sizeof entry.name);
    text.append(reinterpret_cast<const char *>(&entry), sizeof entry);
  }
  return recorder::bytes_of(text);
}

TEST_F(Seen, schedule_is_its_block) {
  sch_show_schedule_reply shown = daily();
  shown.job_count = 2;
  shown.email_count = 2;
  for (const int slot : {0, 2}) {
    shown.emails[slot].in_use = 1;
    std::strcpy(shown.emails[slot].address, slot == 0 ? "a@b" : "c@d");
  }
  std::strcpy(shown.emails[1].address, "removed@b");
  const std::string longest(32, 'j');  // fills its field
  recorder::objects["schedule s"] = schedule_with(shown, {"x", longest});
  EXPECT_EQ(*schedule_in_use(me, "s"), "scheduler schedule name s\n job name x\n job name " + longest +
                                           "\n  time daily 07:05\nemail-addr a@b\nemail-addr c@d\n\n");
  shown.email_count = 0;
  shown.job_count = 0;
  recorder::objects["schedule s"] = schedule_with(shown, {"x"});
  EXPECT_EQ(*schedule_in_use(me, "s"), "scheduler schedule name s\n  time daily 07:05\n\n");
  EXPECT_EQ(schedule_in_use(me, "t").code(), host::err_not_running);
}

TEST_F(Seen, schedule_in_an_answer_that_does_not_fit_is_none) {
  sch_show_schedule_reply shown = daily();
  const host::Bytes whole = schedule_with(shown);
  shown.job_count = 2;
  const host::Bytes two = schedule_with(shown, {"x", "y"});
  for (const host::Bytes &reply : {host::Bytes(), host::Bytes(whole.begin(), whole.end() - 1),
                                   schedule_with(shown, {"x"}), host::Bytes(two.begin(), two.end() - 1)}) {
    recorder::objects["schedule s"] = reply;
    EXPECT_EQ(schedule_in_use(me, "s").code(), host::err_bad_reply) << reply.size();
  }
}

}  // namespace
}  // namespace shell
