// SPDX-License-Identifier: Apache-2.0
// Each call of the transport fails once and from then on, with and without a reply beside the error, and each
// allocation likewise: the documented result, never more output than without the fault, and (under a sanitizer) no
// leak.
#include <algorithm>
#include <cstring>

#include "tests/show/replies.h"

using namespace platform_test;
using namespace show_test;

namespace {

// Two jobs, two schedules, one log of three entries of which the second comes in two pieces.
Reply answer(const Request &request) {
  uint32_t opcode;
  int32_t cursor = 0;
  std::memcpy(&opcode, request.bytes.data(), sizeof opcode);
  if (request.bytes.size() == 48) std::memcpy(&cursor, request.bytes.data() + 44, sizeof cursor);
  switch (opcode) {
    case SCH_OP_SHOW_LOG_CONFIG:
      return Reply::with(raw(int32_t{16384}));
    case SCH_OP_SHOW_EMAIL_CONFIG: {
      sch_email_transport transport = {};
      put(transport.from, "a@b");
      return Reply::with(raw(transport));
    }
    case SCH_OP_SHOW_JOB:
      return cursor < 1 ? Reply::with(job_reply(cursor < 0 ? "one" : "two", cursor + 1, "text\n")) : Reply();
    case SCH_OP_SHOW_SCHEDULE:
      return cursor < 1 ? Reply::with(with_jobs(schedule_record(cursor < 0 ? "s" : "t", cursor + 1), {{"one", 0}}))
                        : Reply();
    default:
      return {};
  }
}

struct Command {
  const char *name;
  int (*handler)(const sch_cli_cmd_ctx *);
  int transport_calls;
  int allocations;
  int result_of_fault(int nth) const {
    if (handler == sch_cli_show_config) return 0;
    if (handler == sch_cli_show_logfile) return nth == 1 ? static_cast<int>(fake.transport_error) : 0;
    return 1;
  }
  int result_without_memory(int nth) const {
    if (handler == sch_cli_show_config) return 0;
    return nth == 1 ? 2 : 0;
  }
};

const Command commands[] = {
    {"jobs", sch_cli_show_jobs, 3, 1},
    {"schedules", sch_cli_show_schedules, 3, 1},
    {"config", sch_cli_show_config, 8, 2},
    {"job config", get_job_config, 3, 1},
    {"schedule config", get_schedule_config, 3, 1},
    {"log file config", get_log_file_config, 1, 0},
    {"e-mail config", sch_cli_get_email_transport_config, 1, 0},
    {"log file", sch_cli_show_logfile, 9, 4},
};

class ShowFaultsTest : public PlatformTest {
 protected:
  void SetUp() override {
    PlatformTest::SetUp();
    fake.serve = answer;
  }
  static Outcome execute(const Command &command) {
    fake.messages = {log_message(3, 1, "first"), log_message(log_entry(3, 2, 6), "abc"),
                     log_message(log_entry(3, 2, 6), "def"), log_message(3, 3, "third")};
    Context context;
    return run(command.handler, context);
  }
};

constexpr const char *failure_lines[] = {"Error on recv\n", "Error cmi parsing\n", "Out of memory\n"};

// What the failing log stream printed before its first failure. Behind it a piece of the failed entry may be taken for
// an entry: the listing goes on with the next message, whatever it is.
std::string before_failure(const std::string &out) {
  size_t end = out.size();
  for (const char *line : failure_lines)
    end = std::min(end, out.find(line));
  return out.substr(0, end);
}

// Whether `part` is left when lines are taken out of `whole`.
bool is_rest_of(const std::string &part, const std::string &whole) {
  size_t at = 0;
  for (size_t from = 0; from < part.size();) {
    const size_t end = std::min(part.find('\n', from), part.size() - 1) + 1;
    const std::string line = part.substr(from, end - from);
    from = end;
    const size_t found = whole.find(line, at);
    if (found == std::string::npos) return false;
    at = found + line.size();
  }
  return true;
}

TEST_F(ShowFaultsTest, without_faults_every_call_is_counted) {
  for (const Command &command : commands) {
    fake.transport = fake.libc_alloc = {};
    fake.libc_alloc.nth = 1000000;
    EXPECT_EQ(execute(command).result, 0) << command.name;
    EXPECT_EQ(fake.transport.calls, command.transport_calls) << command.name;
    EXPECT_EQ(fake.libc_alloc.calls, command.allocations) << command.name;
  }
}

TEST_F(ShowFaultsTest, traces_that_no_sink_takes_change_nothing) {
  for (const Command &command : commands) {
    for (const int failing : {0, 1}) {
      fake.history_allowed = fake.buginf_allowed = true;
      fake.transport = {failing, false, 0};
      const Outcome traced = execute(command);
      fake.history.clear();
      fake.buginf.clear();
      fake.history_allowed = fake.buginf_allowed = false;
      fake.transport = {failing, false, 0};
      EXPECT_EQ(execute(command), traced) << command.name;
      EXPECT_TRUE(fake.history.empty() && fake.buginf.empty()) << command.name;
    }
  }
  Context named({"one"});
  EXPECT_EQ(run(sch_cli_show_jobs, named).result, 0);
  EXPECT_TRUE(fake.history.empty() && fake.buginf.empty());
}

TEST_F(ShowFaultsTest, every_call_of_the_transport) {
  for (const Command &command : commands) {
    fake.transport = {};
    const Outcome whole = execute(command);
    for (const bool from_then_on : {false, true}) {
      for (const bool with_reply : {false, true}) {
        for (int nth = 1; nth <= command.transport_calls; ++nth) {
          SCOPED_TRACE(std::string(command.name) + " " + std::to_string(nth) + (from_then_on ? " and on" : ""));
          fake.failing_transport_replies = with_reply;
          fake.transport = {nth, from_then_on, 0};
          const Outcome outcome = execute(command);
          EXPECT_EQ(outcome.result, command.result_of_fault(nth));
          EXPECT_TRUE(is_rest_of(before_failure(outcome.out), whole.out)) << outcome.out;
          EXPECT_NE(outcome.out + outcome.err, whole.out);
        }
      }
    }
  }
}

TEST_F(ShowFaultsTest, every_allocation) {
  for (const Command &command : commands) {
    fake.libc_alloc = {};
    const Outcome whole = execute(command);
    for (const bool from_then_on : {false, true}) {
      for (int nth = 1; nth <= command.allocations; ++nth) {
        SCOPED_TRACE(std::string(command.name) + " " + std::to_string(nth) + (from_then_on ? " and on" : ""));
        fake.libc_alloc = {nth, from_then_on, 0};
        const Outcome outcome = execute(command);
        fake.libc_alloc = {};
        EXPECT_EQ(outcome.result, command.result_without_memory(nth));
        EXPECT_TRUE(is_rest_of(before_failure(outcome.out), whole.out)) << outcome.out;
        EXPECT_EQ(outcome.err, "");
        EXPECT_NE(outcome.out, whole.out);
      }
    }
  }
}

}  // namespace
