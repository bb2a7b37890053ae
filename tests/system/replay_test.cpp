// SPDX-License-Identifier: Apache-2.0
// The text of a configuration, replayed through the real shell and service, gives the same text again.
#include <gtest/gtest.h>

#include <algorithm>
#include <ctime>
#include <sstream>

#include "schedcli.h"
#include "tests/pss/random.h"
#include "tests/system/service_process.h"

namespace system_test {
namespace {

using pss_test::Random;

constexpr int sessions = 20;

class Replay : public testing::Test {
 protected:
  Replay() { EXPECT_TRUE(service_.start()) << service_.errors(); }

  std::string type(const std::string &commands, int *status = nullptr) {
    return run_shell(state_, {}, status, "configure terminal\n" + commands);
  }
  void run(const std::string &commands) {
    int status = -1;
    const std::string said = type(commands, &status);
    ASSERT_EQ(status, 0) << said << "\nof\n" << commands;
  }
  std::string shown() { return run_shell(state_, {"-c", "show running-config"}, nullptr); }

  // Removes what `text` configures; the settings go back to their defaults.
  void clear(const std::string &text) {
    std::istringstream lines(text);
    std::string undo =
        "no scheduler logfile size\nno scheduler transport email from\nno scheduler transport email reply-to\n"
        "no scheduler transport email smtp-server\n";
    for (std::string line; std::getline(lines, line);)
      if (line.starts_with("scheduler job name ")) {
        undo += "no " + line + " force\n";  // its schedules are there still
      } else if (line.starts_with("scheduler schedule name ")) {
        undo += "no " + line + "\n";
      }
    run(undo);
    ASSERT_EQ(shown(), "feature scheduler\n");
  }

  void expect_same_text_again(const std::string &text) {
    clear(text);
    run(text);
    EXPECT_EQ(shown(), text);
  }

  TemporaryDirectory directory_;
  std::string state_ = directory_.path() + "/state";
  ServiceProcess service_{state_};
};

std::string two(int number) {
  return (number < 10 ? "0" : "") + std::to_string(number);
}

int next_year() {
  const time_t now = time(nullptr);
  tm calendar{};
  return localtime_r(&now, &calendar)->tm_year + 1901;
}

// Commands of an operator at random; each leaves a state that text can describe, some are refused.
class Operator {
 public:
  explicit Operator(uint64_t seed) : random_(seed) {}

  std::string session() {
    text_ = "feature scheduler\n";
    repeat(4, &Operator::setting);
    repeat(6, &Operator::job);
    repeat(6, &Operator::schedule);
    repeat(2, &Operator::remove_job);
    repeat(2, &Operator::remove_schedule);
    repeat(2, &Operator::job);
    return text_;
  }

 private:
  void repeat(int most, void (Operator::*command)()) {
    for (int n = random_.from_to(0, most); n > 0; --n)
      (this->*command)();
  }

  void setting() {
    const std::string host = random_.of("abc0123.-", random_.from_to(1, 255));
    const std::string address = random_.of("abcxyz@.", random_.from_to(1, 63));
    const std::string all[] = {
        "scheduler logfile size " + std::to_string(random_.from_to(1, 1024)),
        "no scheduler logfile size",
        "scheduler transport email from " + address,
        "no scheduler transport email from",
        "scheduler transport email reply-to " + address,
        "no scheduler transport email reply-to",
        "scheduler transport email smtp-server " + host,
        "scheduler transport email smtp-server " + host + " port " + std::to_string(random_.from_to(1, 65535)),
        "no scheduler transport email smtp-server",
    };
    text_ += random_.pick(all) + "\n";
  }

  void job() {
    const std::string name = random_.name();
    if (std::find(jobs_.begin(), jobs_.end(), name) != jobs_.end()) return;
    jobs_.push_back(name);
    text_ += "scheduler job name " + name + "\n";
    for (int n = random_.from_to(0, 7); n > 0; --n) {
      const int longest = random_.one_in(5) ? 1100 : 60;
      text_ += (random_.one_in(10) ? "  " : "") + random_.of("abc :/.,%\"'|<>$\\", random_.from_to(1, longest)) + "\n";
    }
    text_ += "end-job\n";
  }

  void schedule() {
    const std::string name = random_.name();
    schedules_.push_back(name);
    text_ += "scheduler schedule name " + name + "\n";
    for (int n = random_.from_to(0, 4); n > 0 && !jobs_.empty(); --n)
      text_ += (random_.one_in(4) ? "no job name " : "job name ") + random_.pick(jobs_) + "\n";
    for (int n = random_.from_to(0, 2); n > 0; --n)
      text_ += time() + "\n";
    for (int n = random_.from_to(0, SCH_MAX_EMAIL_IDS); n > 0; --n)
      text_ += "email-addr " + random_.of("mn@.", random_.from_to(1, 63)) + "\n";
    if (random_.one_in(4)) text_ += "no email-addr m\n";
  }

  std::string clock() { return two(random_.from_to(0, 23)) + ":" + two(random_.from_to(0, 59)); }

  std::string time() {
    static constexpr const char *days[] = {"Sun", "tue", "7", "3"}, *months[] = {"1", "02", "mar", "Jun", "12"};
    const std::string date = std::to_string(next_year() + random_.from_to(0, 9)) + ":" + random_.pick(months) + ":" +
                             two(random_.from_to(1, 28)) + ":" + clock();
    const std::string period =
        two(random_.from_to(0, 99)) + ":" + two(random_.from_to(0, 99)) + ":" + two(random_.from_to(1, 99));
    const std::string all[] = {
        "no time",
        "time daily " + clock(),
        "time weekly " + std::string(random_.pick(days)) + ":" + clock(),
        "time monthly " + std::to_string(random_.from_to(1, 31)) + ":" + clock(),
        "time start " + date,
        "time start " + date + " repeat " + period,
    };
    return random_.pick(all);
  }

  void remove_job() { remove("job", jobs_); }
  void remove_schedule() { remove("schedule", schedules_); }
  void remove(const char *what, std::vector<std::string> &names) {
    if (names.empty()) return;
    const std::string name = random_.pick(names);
    std::erase(names, name);
    text_ += std::string("no scheduler ") + what + " name " + name + "\n";
  }

  Random random_;
  std::string text_;
  std::vector<std::string> jobs_, schedules_;
};

TEST_F(Replay, random_sessions_give_a_text_that_gives_itself) {
  size_t lines = 0;
  for (uint64_t seed = 1; seed <= sessions && !HasFailure(); ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    type(Operator(seed).session());  // an address that comes twice and the like is refused
    const std::string text = shown();
    expect_same_text_again(text);
    clear(text);
    lines += static_cast<size_t>(std::count(text.begin(), text.end(), '\n'));
  }
  EXPECT_GT(lines, 20u * sessions) << "the texts are not empty ones";
}

TEST_F(Replay, text_of_everything_is_the_one_that_was_typed) {
  const std::string year = std::to_string(next_year());
  const std::string text =
      "feature scheduler\n"
      "scheduler logfile size 32\n\n"
      "scheduler transport email from switch@x.net\n"
      "scheduler transport email reply-to noc@x.net\n"
      "scheduler transport email smtp-server mail.x.net port 2525\n"
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
      "email-addr a@x.net\n"
      "email-addr b@x.net\n"
      "\n"
      "scheduler schedule name later\n"
      "  time start " +
      year + ":01:02:03:04 repeat 5:6:7\n\nscheduler schedule name idle\n  email-addr a@x.net\n\n";
  run(text);
  EXPECT_EQ(shown(), text);
  expect_same_text_again(text);
}

}  // namespace
}  // namespace system_test
