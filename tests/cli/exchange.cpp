// SPDX-License-Identifier: Apache-2.0
#include "tests/cli/exchange.h"

#include "tests/cli/freed_blocks.h"
#include "tests/platform/journal.h"

namespace cli_test {

const std::vector<Command> checked_commands = {
    {"job", sch_cli_create_delete_job, 0, {"backup"}},
    {"schedule", sch_cli_create_delete_schedule, 0, {"nightly"}},
    {"change", sch_cli_modify_schedule, SCH_MODIFY_JOB, {"nightly", "backup"}},
    {"address", sch_cli_modify_schedule_emailaddr, 0, {"nightly", "ops@example.org"}},
};

Outcome run(const std::function<int()> &body) {
  Outcome outcome;
  const size_t sent_before = fake.requests.size();
  int freed = 0;
  const auto output = platform_test::capture([&] {
    const int freed_before = freed_blocks();
    outcome.result = body();
    freed = freed_blocks() - freed_before;
  });
  outcome.out = output.out;
  outcome.err = output.err;
  outcome.freed = freed;
  for (size_t i = sent_before; i < fake.requests.size(); ++i)
    outcome.requests.push_back(fake.requests[i].bytes);
  return outcome;
}

Outcome run(Handler handler, Context &context) {
  return run([&] { return handler(context.get()); });
}

Outcome run(const Command &command) {
  Context context(command.params);
  context->subcommand = command.subcommand;
  context->negate = command.negate;
  return run(command.handler, context);
}

bool refused(const Outcome &outcome, int result, const std::string &err, const std::string &out) {
  return outcome.result == result && outcome.err == err && outcome.out == out && outcome.requests.empty();
}

std::string named_request(uint32_t opcode, const std::string &name, uint32_t negate) {
  return request<sch_named_request>(opcode, [&](auto &record) {
    record.negate = negate;
    put(record.name, name);
  });
}

std::string job_request(uint32_t opcode, const std::string &name, uint32_t negate, const std::string &text) {
  return request<sch_job_request>(
      opcode,
      [&](auto &record) {
        record.head.negate = negate;
        put(record.head.name, name);
        record.text_length = static_cast<uint32_t>(text.size());
      },
      text);
}

std::string status_line(const std::string &what, uint32_t status) {
  return what + ": " + error_text(status) + "\n";
}

std::ostream &operator<<(std::ostream &out, const Outcome &outcome) {
  out << "result " << outcome.result << " out \"" << outcome.out << "\" err \"" << outcome.err << "\" freed "
      << outcome.freed;
  for (const std::string &request : outcome.requests)
    out << "\n  " << platform_test::bytes_text(request);
  return out;
}

}  // namespace cli_test
