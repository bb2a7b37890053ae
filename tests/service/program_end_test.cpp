// SPDX-License-Identifier: Apache-2.0
// The end of the real program while a job is under way: asked for, and by a kill; and what the next start makes of it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <fstream>

#include "control/configuration.h"
#include "control/operations.h"
#include "host/files/paths.h"
#include "tests/service/program_fixture.h"

namespace service_test {
namespace {

using control::Operation;
using ::testing::HasSubstr;
using ::testing::Not;

template <typename Record>
host::Bytes payload_of(const Record &record, std::string_view text = "") {
  host::Bytes payload(sizeof record + text.size());
  std::memcpy(payload.data(), &record, sizeof record);
  std::memcpy(payload.data() + sizeof record, text.data(), text.size());
  return payload;
}

std::string asked(Operation operation, const host::Bytes &payload = {}) {
  const host::Result<host::Bytes> answer = control::ask_service(operation, payload);
  EXPECT_EQ(answer.code(), 0u) << static_cast<uint32_t>(operation);
  return answer ? std::string(reinterpret_cast<const char *>(answer->data()), answer->size()) : "";
}

// The reply's status, of a configuration that replaces what there is.
uint32_t replace_by(const std::string &text) {
  const std::string id = asked(Operation::put_configuration, payload_of(uint32_t{0}, text));
  control::ConfigurationOrder order = {};
  order.source = static_cast<uint32_t>(control::ConfigurationSource::text);
  id.copy(reinterpret_cast<char *>(&order.number), sizeof order.number);
  const std::string reply = asked(Operation::apply_configuration, payload_of(order, std::string_view("\0", 1)));
  uint32_t status = ~0u;
  reply.copy(reinterpret_cast<char *>(&status), sizeof status);
  return status;
}

void configure(const std::string &text) {
  asked(Operation::enable_feature);
  ASSERT_EQ(replace_by(text), 0u);
}

std::string outcomes() {
  return asked(Operation::show_history, payload_of(control::HistoryQuery{}));
}

bool is_there(const std::string &file) {
  for (int i = 0; i < 30000; i++) {
    if (std::filesystem::exists(file)) return true;
    usleep(1000);
  }
  return false;
}

bool ends(pid_t process) {
  for (int i = 0; i < 30000; i++) {
    if (kill(process, 0) != 0) return true;
    usleep(1000);
  }
  return false;
}

struct JobUnderWay : ServiceProgram {
  // A job that says when it was asked to end, and leaves a process that does not listen.
  void begin() {
    ASSERT_EQ(told(), "READY=1");
    host::use_paths(host::resolve_paths(state.c_str()));
    configure(
        "scheduler job name work\n"
        "setsid sh -c 'trap \"\" TERM HUP; exec sleep 1000' &\n"
        "echo $! > " +
        directory +
        "/left\n"
        "trap 'echo > " +
        directory +
        "/asked; exit 0' TERM\n"
        "echo $$ > " +
        directory + "/new; mv " + directory + "/new " + directory +
        "/begun\n"
        "while :; do sleep 0.05; done\n"
        "end-job\n"
        "scheduler schedule name nightly\n job name work\n");
    const std::string name = "nightly";
    const auto *start = reinterpret_cast<const std::byte *>(name.data());
    asked(Operation::run_schedule, {start, start + name.size()});
    ASSERT_TRUE(is_there(directory + "/begun"));
  }
  pid_t number_in(const std::string &file) const {
    pid_t number = 0;
    std::ifstream(directory + "/" + file) >> number;
    return number;
  }
  bool was_asked() const { return std::filesystem::exists(directory + "/asked"); }
  bool holds_texts() const { return !std::filesystem::is_empty(state + "/run/jobs"); }
};

// Where it may write nothing more.
TEST_F(ServiceProgram, a_file_beyond_the_size_limit_is_an_error_and_not_its_end) {
  Program program({"--state-dir", state}, notify_path);
  ASSERT_EQ(told(), "READY=1");
  host::use_paths(host::resolve_paths(state.c_str()));
  configure("scheduler job name first\ntrue\nend-job\n");
  program.limit_file_size(1);
  EXPECT_NE(replace_by("scheduler job name second\ntrue\nend-job\n"), 0u);
  program.limit_file_size(RLIM_INFINITY);
  EXPECT_EQ(replace_by("scheduler job name second\ntrue\nend-job\n"), 0u);
  EXPECT_EQ(program.end(SIGTERM), 0);
}

TEST_F(JobUnderWay, is_asked_and_ended_with_all_it_left_when_the_service_is_asked_to_end) {
  {
    Program program({"--state-dir", state}, notify_path);
    begin();
    EXPECT_EQ(program.end(SIGTERM), 0);
  }
  EXPECT_TRUE(was_asked());
  EXPECT_TRUE(ends(number_in("begun")));
  EXPECT_TRUE(ends(number_in("left")));
  EXPECT_FALSE(holds_texts());
  while (told(0) != "(nothing)") {
  }
  Program again({"--state-dir", state}, notify_path);
  ASSERT_EQ(told(), "READY=1");
  const std::string history = outcomes();
  EXPECT_THAT(history, HasSubstr("stopped"));
  EXPECT_THAT(history, Not(HasSubstr("interrupted")));
  EXPECT_EQ(again.end(SIGTERM), 0);
}

TEST_F(JobUnderWay, ends_with_the_killed_service_and_is_told_by_the_next_one_before_it_runs_anything) {
  {
    Program program({"--state-dir", state}, notify_path);
    begin();
    program.end(SIGKILL);
  }
  EXPECT_TRUE(ends(number_in("begun")));
  EXPECT_TRUE(ends(number_in("left")));
  EXPECT_TRUE(holds_texts());
  Program again({"--state-dir", state}, notify_path);
  ASSERT_EQ(told(), "READY=1");
  EXPECT_FALSE(holds_texts());
  const std::string history = outcomes();
  EXPECT_THAT(history, HasSubstr("interrupted"));
  EXPECT_THAT(history, Not(HasSubstr("stopped")));
  EXPECT_FALSE(was_asked());
  EXPECT_EQ(again.end(SIGTERM), 0);
}

}  // namespace
}  // namespace service_test
