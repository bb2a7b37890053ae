// SPDX-License-Identifier: Apache-2.0
// Generated text, replayed through the real handlers, gives the same text again.
#include <algorithm>

#include "tests/pss/random.h"
#include "tests/pss/replay_service.h"
#include "tests/pss/replay_shell.h"

using namespace pss_test;

namespace {

constexpr int configurations = 1000;
constexpr time_t now = 1795000000;  // 18 November 2026
constexpr uint32_t element_scheduler = 1, element_feature = 3;

class ReplayRoundTrip : public platform_test::PlatformTest {
 protected:
  // Requests go from now on to a service of this configuration.
  void serve(sch_config_db &config) {
    platform_test::reset_library();
    fake.reset();
    fake.record_calls = fake.history_allowed = fake.buginf_allowed = false;
    fake.now = now;
    fake.serve = [&config](const platform_test::Request &request) { return ReplayService(config).apply(request); };
  }

  static std::string generated(sch_config_db &config) {
    acfg_hdl handle = {};
    fake.acfg_lines.clear();
    sch_acfg_gen(&config, &handle, 0);
    std::string text;
    for (const uint32_t element : {element_feature, element_scheduler})
      for (const auto &line : fake.acfg_lines)
        if (line.element == element) text += (line.indent != 0 ? " " : "") + line.text;
    return text;
  }

  static int replay(const std::string &text, std::string *failed = nullptr) {
    ReplayShell shell;
    int result = 0;
    platform_test::capture([&] { result = shell.run(text); });
    if (failed != nullptr) *failed = shell.failed();
    return result;
  }

  // Generates from a configuration built by `commands`, replays into the other one, generates again.
  void expect_same_text_again(const std::string &commands, std::string *first) {
    serve(sch_running_config);
    std::string failed;
    ASSERT_EQ(replay(commands, &failed), 0) << failed;
    *first = generated(sch_running_config);
    serve(sch_startup_config);
    ASSERT_EQ(replay(*first, &failed), 0) << failed << "\nof\n" << *first;
    EXPECT_EQ(generated(sch_startup_config), *first);
  }
};

std::string two(int number) {
  return (number < 10 ? "0" : "") + std::to_string(number);
}

// Commands of an operator at random; each leaves a state that text can describe.
class Operator {
 public:
  explicit Operator(uint64_t seed) : random_(seed) {}

  std::string session() {
    text_ = random_.one_in(10) ? "" : "feature scheduler\n";
    for (int n = random_.from_to(0, 4); n > 0; --n)
      setting();
    for (int n = random_.from_to(0, 6); n > 0; --n)
      job();
    for (int n = random_.from_to(0, 6); n > 0; --n)
      schedule();
    for (int n = random_.from_to(0, 2); n > 0; --n)
      remove_job();
    for (int n = random_.from_to(0, 2); n > 0; --n)
      remove_schedule();
    for (int n = random_.from_to(0, 2); n > 0; --n)
      job();
    return text_;
  }

 private:
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
    size_t room = random_.one_in(4) ? 8182 : 2100;  // what one definition may carry
    for (int n = random_.from_to(0, 40); n > 0; --n) {
      const std::string line = job_line();
      if (line.size() + 1 > room) break;
      room -= line.size() + 1;
      text_ += line + "\n";
    }
    text_ += "end-job\n";
  }

  std::string job_line() {
    const std::string line = random_.of("abc :/.,%\"'|<>$\\", random_.from_to(1, random_.one_in(5) ? 1100 : 60));
    return random_.one_in(10) ? "  " + line : line;
  }

  void schedule() {
    const std::string name = random_.name();
    schedules_.push_back(name);
    text_ += "scheduler schedule name " + name + "\n";
    for (int n = random_.from_to(0, 4); n > 0 && !jobs_.empty(); --n)
      text_ += (random_.one_in(4) ? "no job name " : "job name ") + random_.pick(jobs_) + "\n";
    for (int n = random_.from_to(0, 2); n > 0; --n)
      text_ += time() + "\n";
    for (int n = random_.from_to(0, 12), left = SCH_MAX_EMAIL_IDS; n > 0 && left > 0; --n, --left)
      text_ += "email-addr " + random_.of("mn@.", random_.from_to(1, 63)) + "\n";
    if (random_.one_in(4)) text_ += "no email-addr m\n";
  }

  std::string clock() { return two(random_.from_to(0, 23)) + ":" + two(random_.from_to(0, 59)); }

  std::string date() {
    static constexpr const char *months[] = {"1", "02", "mar", "Jun", "12"};
    return std::to_string(random_.from_to(2027, 2036)) + ":" + random_.pick(months) + ":" + two(random_.from_to(1, 28));
  }

  std::string time() {
    static constexpr const char *days[] = {"Sun", "tue", "7", "3"};
    const std::string start = date() + ":" + clock();
    const std::string period =
        two(random_.from_to(0, 99)) + ":" + two(random_.from_to(0, 99)) + ":" + two(random_.from_to(1, 99));
    const std::string all[] = {
        "no time",
        "time daily " + clock(),
        "time weekly " + std::string(random_.pick(days)) + ":" + clock(),
        "time monthly " + std::to_string(random_.from_to(1, 31)) + ":" + clock(),
        "time start " + start,
        "time start " + start + " repeat " + period,
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

TEST_F(ReplayRoundTrip, random_sessions_give_a_text_that_gives_itself) {
  static constexpr const char *zones[] = {"UTC", "IST-5:30", "EST5"};
  size_t lines = 0;
  for (uint64_t seed = 1; seed <= configurations; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    platform_test::set_zone(zones[seed % std::size(zones)]);
    std::string first;
    expect_same_text_again(Operator(seed).session(), &first);
    lines += static_cast<size_t>(std::count(first.begin(), first.end(), '\n'));
    if (HasFailure()) return;
  }
  EXPECT_GT(lines, 20u * configurations) << "the texts are not empty ones";
}

TEST_F(ReplayRoundTrip, text_of_everything_is_the_one_that_was_typed) {
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
      "  time start 2027:01:02:03:04 repeat 5:6:7\n"
      "\n";
  std::string first;
  expect_same_text_again(text, &first);
  EXPECT_EQ(first, text);
}

TEST_F(ReplayRoundTrip, schedule_without_a_time_keeps_its_line_of_two_blanks) {
  std::string first;
  expect_same_text_again("scheduler schedule name idle\nemail-addr a@x.net\n", &first);
  EXPECT_EQ(first, "feature scheduler\nscheduler schedule name idle\n  email-addr a@x.net\n\n");
}

// The known differences of the text: what it does not tell is back at its default after a replay.
TEST_F(ReplayRoundTrip, odd_bytes_of_the_log_size_are_lost) {
  serve(sch_running_config);
  sch_log_file.size = 20000;
  const std::string first = generated(sch_running_config);
  EXPECT_EQ(first, "feature scheduler\nscheduler logfile size 19\n\n");
  serve(sch_startup_config);
  EXPECT_EQ(replay(first), 0);
  EXPECT_EQ(sch_log_file.size, 19 * 1024);
  EXPECT_EQ(generated(sch_startup_config), first) << "but the text stays the same";
}

// Start times are completed with the daylight-saving flag off, as meant, and written as the clock shows them.
TEST_F(ReplayRoundTrip, repeated_start_in_summer_moves_by_the_hour_of_daylight_saving) {
  platform_test::set_zone("CET-1CEST,M3.5.0,M10.5.0/3");
  serve(sch_running_config);
  EXPECT_EQ(replay("scheduler schedule name s\n  time start 2027:07:01:10:00 repeat 1:0:0\n"), 0);
  EXPECT_EQ(generated(sch_running_config),
            "feature scheduler\nscheduler schedule name s\n  time start 2027:07:01:11:00 repeat 1:0:0\n\n");
  std::string first;
  expect_same_text_again("scheduler schedule name s\n  time start 2027:12:01:10:00 repeat 1:0:0\n", &first);
  EXPECT_EQ(first, "feature scheduler\nscheduler schedule name s\n  time start 2027:12:01:10:00 repeat 1:0:0\n\n");
}

}  // namespace
