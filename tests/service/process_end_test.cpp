// SPDX-License-Identifier: Apache-2.0
// A run ends with all that it started, however that tries to stay; each case with a keeper, and in a control group
// where this machine lets the tests make one.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <optional>

#include "tests/service/process_fixture.h"

namespace service_test {
namespace {

using service::Reason;
using ::testing::HasSubstr;

class RunsEnd : public ::testing::TestWithParam<Kept> {
 protected:
  void SetUp() override {
    std::string why;
    if (GetParam() == Kept::in_group && usable_group(&why).empty()) GTEST_SKIP() << why;
    starting = std::make_unique<Starting>(GetParam());
  }

  std::string file(const std::string &name) const { return starting->path() + "/" + name; }

  std::unique_ptr<Starting> starting;
};

TEST_P(RunsEnd, a_process_in_the_background_is_ended_and_counted) {
  const JobProcess::Result result = starting->run(task("sleep 1000 & echo $! > " + file("pid") + "; exit 5\n"));
  EXPECT_TRUE(has_ended(read_number(file("pid"))));
  EXPECT_EQ(result.wait_status, 5u << 8);
  EXPECT_EQ(result.reason, Reason::ended);
}

TEST_P(RunsEnd, a_daemon_with_a_session_of_its_own_is_ended_and_said) {
  const JobProcess::Result result =
      starting->run(task("setsid sh -c 'echo $$ > " + file("new") + "; mv " + file("new") + " " + file("pid") +
                         "; trap \"\" TERM HUP; sleep 1000 & wait' & while ! test -e " + file("pid") +
                         "; do sleep 0.01; done; echo done\n"));
  EXPECT_TRUE(has_ended(read_number(file("pid"))));
  EXPECT_EQ(result.output, "done\n");
  EXPECT_GE(result.killed, 1u);
  EXPECT_THAT(result.remark, HasSubstr("that it had left running"));
  EXPECT_EQ(result.wait_status, 0u);
}

TEST_P(RunsEnd, a_daemon_that_gave_up_its_parents_is_ended) {
  const JobProcess::Result result = starting->run(
      task("(setsid sh -c '(setsid sh -c \"echo \\$\\$ > " + file("new") + "; mv " + file("new") + " " + file("pid") +
           "; exec sleep 1000\" &)' &)\nwhile ! test -e " + file("pid") + "; do sleep 0.01; done\n"));
  EXPECT_TRUE(has_ended(read_number(file("pid"))));
  EXPECT_GE(result.killed, 1u);
}

TEST_P(RunsEnd, a_process_is_ended_whatever_digits_are_in_its_number) {
  for (const char *digit : {"0", "9"}) {
    const JobProcess::Result result = starting->run(task("while :; do sleep 1000 & case $! in *" + std::string(digit) +
                                                         "*) break;; esac; kill $!; done; echo $!\n"));
    EXPECT_TRUE(has_ended(static_cast<pid_t>(std::stol(result.output)))) << result.output;
    EXPECT_EQ(result.wait_status, 0u);
  }
}

// Each ends as soon as its child runs, so that a list of processes is old when it has been read.
TEST_P(RunsEnd, processes_that_hop_from_fork_to_fork_are_ended) {
  const std::string hopper = file("hopper");
  std::ofstream(hopper) << "echo $$ > " << file("last") << "; exec sh " << hopper << " & exit\n";
  const JobProcess::Result result =
      starting->run(task("for i in 1 2 3; do setsid sh " + hopper + " & done; while ! test -s " + file("last") +
                         "; do sleep 0.01; done\n"));
  EXPECT_EQ(result.wait_status, 0u);
  std::filesystem::remove(file("last"));
  usleep(50000);
  EXPECT_FALSE(std::filesystem::exists(file("last")));  // no hopper writes it any more
}

TEST_P(RunsEnd, a_job_beyond_its_time_is_asked_first_with_all_that_it_started) {
  service::Task slow =
      task("sh -c 'trap \"echo child asked; exit\" TERM; echo > " + file("ready") +
           "; while :; do sleep 0.01; done' & trap 'echo job asked; wait; exit' TERM; while ! test -e " +
           file("ready") + "; do sleep 0.01; done; echo ready; while :; do sleep 0.01; done\n");
  slow.limits.time_s = 2;
  slow.limits.grace_ms = 600000;
  const JobProcess::Result result = starting->run(slow);
  EXPECT_EQ(result.reason, Reason::timed_out);
  EXPECT_EQ(result.wait_status, service::exit_status(Reason::timed_out));
  EXPECT_THAT(result.remark, HasSubstr("stopped: it ran longer than 2 seconds"));
  EXPECT_THAT(result.output, HasSubstr("job asked\n"));
  EXPECT_THAT(result.output, HasSubstr("child asked\n"));
}

TEST_P(RunsEnd, a_job_that_does_not_listen_is_killed_when_its_grace_is_over) {
  service::Task deaf = task("trap '' TERM; echo $$ > " + file("pid") + "; while :; do sleep 0.05; done\n");
  deaf.limits.time_s = 1;
  deaf.limits.grace_ms = 10;
  const JobProcess::Result result = starting->run(deaf);
  EXPECT_EQ(result.reason, Reason::timed_out);
  EXPECT_TRUE(has_ended(read_number(file("pid"))));
}

// The loop serves what is due in its order, however late it comes to it: so the second watch tells of a longer limit.
TEST_P(RunsEnd, a_job_is_asked_to_end_after_its_seconds_and_not_after_a_multiple_of_them) {
  service::Task slow = task("while :; do sleep 0.05; done\n");
  slow.limits.time_s = 1;
  std::optional<JobProcess::Result> result;
  const auto process = starting->start(slow, [&](JobProcess::Result end) { result = std::move(end); });
  bool later = false;
  const host::Watch much_later = host::Watch::after_ms(5000, [&] { later = true; });
  while (!result && !later)
    starting->loop()->turn();
  if (!result) result = process->end();
  EXPECT_THAT(result->remark, HasSubstr("stopped: it ran longer than 1 seconds"));
}

TEST_P(RunsEnd, a_job_that_does_not_listen_has_all_of_its_time_and_its_grace_and_is_asked_once) {
  service::Task deaf = task("trap 'echo asked' TERM; echo > " + file("begun") + "; while :; do sleep 0.05; done\n");
  deaf.limits.time_s = 1;
  deaf.limits.grace_ms = 1000;
  const auto begun = std::chrono::steady_clock::now();
  const JobProcess::Result result = starting->run(deaf);
  if (!std::filesystem::exists(file("begun"))) GTEST_SKIP() << "it had not begun when its time was over";
  EXPECT_GE(std::chrono::steady_clock::now() - begun, std::chrono::seconds(2));
  EXPECT_EQ(result.reason, Reason::timed_out);
  EXPECT_EQ(result.output.find("asked"), result.output.rfind("asked"));
}

// Where daemons may stay there is no keeper, and the job's group is what can be asked.
TEST_P(RunsEnd, a_job_that_may_leave_daemons_is_asked_with_its_whole_group) {
  service::Task job =
      task("sh -c 'trap \"echo child asked; exit\" TERM; echo > " + file("ready") +
           "; while :; do sleep 0.01; done' & trap 'echo job asked; wait; exit' TERM; while ! test -e " +
           file("ready") + "; do sleep 0.01; done; echo > " + file("both") + "; while :; do sleep 0.01; done\n");
  job.leave_daemons = true;
  std::optional<JobProcess::Result> result;
  const auto process = starting->start(job, [&](JobProcess::Result end) { result = std::move(end); });
  ASSERT_TRUE(comes_true([&] { return std::filesystem::exists(file("both")); }));
  process->signal_all(SIGTERM);
  ASSERT_TRUE(comes_true([&] { return result.has_value(); }, starting->loop()));
  EXPECT_THAT(result->output, HasSubstr("job asked\n"));
  EXPECT_THAT(result->output, HasSubstr("child asked\n"));
}

// Counted by a real-time signal, of which each one that is sent waits; of others the kernel keeps one.
TEST_P(RunsEnd, each_process_of_a_run_is_asked_once) {
  std::ofstream(file("counter")) << "import os, signal, time\n"
                                    "signals = [signal.SIGRTMIN]\n"
                                    "signal.pthread_sigmask(signal.SIG_BLOCK, signals)\n"
                                 << "print(os.getpid(), file=open('" << file("pid") << "', 'w'), flush=True)\n"
                                 << "while not os.path.exists('" << file("told") << "'): time.sleep(0.01)\n"
                                 << "signal.sigwait(signals)\n"
                                    "print('asked')\n"
                                    "while signal.sigtimedwait(signals, 0): print('asked')\n";
  std::string output;
  const auto process = starting->start(task("exec python3 " + file("counter") + "\n"),
                                       [&](const JobProcess::Result &result) { output = result.output + "end"; });
  ASSERT_GT(read_number(file("pid")), 0);
  process->signal_all(SIGRTMIN);
  std::ofstream(file("told")).close();
  EXPECT_TRUE(comes_true([&] { return !output.empty(); }, starting->loop()));
  EXPECT_EQ(output, "asked\nend");
}

TEST_P(RunsEnd, the_services_end_asks_all_of_it_and_then_ends_it) {
  const auto process = starting->start(task("sh -c 'trap \"\" TERM; echo $$ > " + file("pid") +
                                            "; while :; do sleep 0.05; done' & trap 'echo asked' TERM; echo > " +
                                            file("ready") + "; wait; wait\n"));
  const pid_t deaf = read_number(file("pid"));
  ASSERT_TRUE(comes_true([&] { return std::filesystem::exists(file("ready")); }));
  process->signal_all(SIGTERM);
  EXPECT_FALSE(process->wait_ms(0));
  const JobProcess::Result result = process->end();
  EXPECT_EQ(result.reason, Reason::stopped);
  EXPECT_EQ(result.wait_status, service::exit_status(Reason::stopped));
  EXPECT_EQ(result.remark, "stopped: the scheduler service ended");
  EXPECT_TRUE(comes_true([&] { return has_ended(deaf); }));
  std::string why;
  if (GetParam() == Kept::by_keeper) return;
  for (const auto &entry : std::filesystem::directory_iterator(usable_group(&why)))
    EXPECT_FALSE(entry.is_directory()) << entry.path();
}

TEST_P(RunsEnd, daemons_are_left_alone_where_they_are_allowed) {
  service::Task job = task("setsid sleep 1000 & echo $! > " + file("pid") + "\n");
  job.leave_daemons = true;
  const JobProcess::Result result = starting->run(job);
  const pid_t daemon = read_number(file("pid"));
  ASSERT_GT(daemon, 0);
  EXPECT_FALSE(has_ended(daemon));
  EXPECT_EQ(result.killed, 0u);
  starting->begin_again();
  EXPECT_TRUE(starting->processes().end_left_overs());
  EXPECT_FALSE(has_ended(daemon));
  kill(daemon, SIGKILL);
  EXPECT_TRUE(comes_true([&] { return has_ended(daemon); }));
  starting->begin_again();
  EXPECT_TRUE(starting->processes().end_left_overs());
}

// The test's child is the service; what it started is looked for when it has been killed.
TEST_P(RunsEnd, after_the_service_was_killed_nothing_lives_when_the_next_one_runs_its_first_job) {
  const pid_t service = fork();
  if (service == 0) {
    const host::Loop loop;
    starting->begin_again();
    const auto process = starting->start(task("setsid sh -c 'echo $$ > " + file("daemon") +
                                              "; exec sleep 1000' & echo $$ > " + file("job") + "; exec sleep 1000\n"));
    pause();
  }
  const pid_t daemon = read_number(file("daemon")), job = read_number(file("job"));
  ASSERT_GT(daemon, 0);
  ASSERT_GT(job, 0);
  kill(service, SIGKILL);
  waitpid(service, nullptr, 0);
  EXPECT_TRUE(starting->processes().end_left_overs());
  EXPECT_TRUE(has_ended(daemon));
  EXPECT_TRUE(comes_true([&] { return has_ended(job); }));
  EXPECT_EQ(starting->run(task("echo alive\n")).output, "alive\n");
}

TEST_P(RunsEnd, a_keeper_that_was_killed_takes_its_job_with_it) {
  if (GetParam() == Kept::in_group) GTEST_SKIP() << "there is none";
  std::optional<JobProcess::Result> result;
  const auto process =
      starting->start(task("echo $PPID > " + file("keeper") + "; echo $$ > " + file("pid") + "; exec sleep 1000\n"),
                      [&](JobProcess::Result end) { result = std::move(end); });
  const pid_t job = read_number(file("pid")), keeper = read_number(file("keeper"));
  ASSERT_GT(keeper, 0);
  kill(keeper, SIGKILL);
  EXPECT_TRUE(comes_true([&] { return result.has_value(); }, starting->loop()));
  EXPECT_EQ(result->reason, Reason::interrupted);
  EXPECT_TRUE(comes_true([&] { return has_ended(job); }));
}

std::string name_of_kind(const ::testing::TestParamInfo<Kept> &kind) {
  return kind.param == Kept::by_keeper ? "keeper" : "group";
}

INSTANTIATE_TEST_SUITE_P(, RunsEnd, ::testing::Values(Kept::by_keeper, Kept::in_group), name_of_kind);

}  // namespace
}  // namespace service_test
