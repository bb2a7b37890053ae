// SPDX-License-Identifier: Apache-2.0
#include "shell/configuration_request.h"

#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "control/lines.h"
#include "control/operations.h"
#include "host/status.h"
#include "platform/errors.h"

namespace shell {

namespace {

using control::Operation;

constexpr size_t piece_size = 48 * 1024;  // fits in a frame

template <typename Record>
host::Bytes with_text(const Record &record, std::string_view text) {
  host::Bytes payload(sizeof record + text.size());
  std::memcpy(payload.data(), &record, sizeof record);
  if (!text.empty()) std::memcpy(payload.data() + sizeof record, text.data(), text.size());
  return payload;
}

host::Result<std::string> text_from(Operation operation, std::span<const std::byte> payload = {}) {
  const host::Result<host::Bytes> reply = control::ask_service(operation, payload);
  if (!reply) return reply.error();
  return std::string(reinterpret_cast<const char *>(reply->data()), reply->size());
}

// From where the operator works, as the environment says; the service adds the process id.
std::string whereabouts() {
  std::string text;
  if (const char *terminal = isatty(STDERR_FILENO) != 0 ? ttyname(STDERR_FILENO) : nullptr)
    text = "terminal " + std::string(terminal);
  if (const char *connection = std::getenv("SSH_CONNECTION")) {
    const std::string_view far = connection;
    text += (text.empty() ? "host " : ", host ") + std::string(far.substr(0, far.find(' ')));
  }
  return text.empty() ? "no terminal" : text;
}

std::vector<ConfigurationProblem> problems_in(std::string_view lines) {
  std::vector<ConfigurationProblem> problems;
  while (!lines.empty()) {
    const std::string_view line = control::cut_line(&lines);
    ConfigurationProblem problem;
    std::from_chars(line.data(), line.data() + line.size(), problem.line);
    problem.text = line.substr(std::min(line.find(' ') + 1, line.size()));
    problems.push_back(std::move(problem));
  }
  return problems;
}

}  // namespace

host::Result<std::string> running_configuration() {
  return text_from(Operation::running_text);
}
host::Result<std::string> startup_configuration() {
  return text_from(Operation::startup_text);
}
host::Result<std::string> kept_configuration(uint32_t number) {
  return text_from(Operation::configuration_entry, std::as_bytes(std::span(&number, 1)));
}

host::Result<uint32_t> send_configuration(const std::string &text) {
  uint32_t id = 0;
  std::string_view rest = text;
  do {
    const std::string_view piece = rest.substr(0, piece_size);
    rest.remove_prefix(piece.size());
    const host::Result<host::Bytes> reply = control::ask_service(Operation::put_configuration, with_text(id, piece));
    if (!reply) return reply.error();
    if (reply->size() != sizeof id) return host::Error{host::err_bad_reply, syserr2str(host::err_bad_reply)};
    std::memcpy(&id, reply->data(), sizeof id);
  } while (!rest.empty());
  return id;
}

host::Result<ConfigurationOutcome> order_configuration(const control::ConfigurationOrder &order,
                                                       const std::string &command) {
  const std::string text = whereabouts() + std::string(1, '\0') + command;
  const host::Result<std::string> reply = text_from(Operation::apply_configuration, with_text(order, text));
  if (!reply) return reply.error();
  control::ConfigurationReply fixed = {};
  const bool whole = reply->size() >= sizeof fixed;
  if (whole) std::memcpy(&fixed, reply->data(), sizeof fixed);
  const size_t before = sizeof fixed + size_t{fixed.problems_length}, after = before + fixed.before_length;
  if (!whole || after > reply->size()) return host::Error{host::err_bad_reply, syserr2str(host::err_bad_reply)};
  ConfigurationOutcome outcome;
  outcome.status = fixed.status;
  outcome.order_not_taken_over = (fixed.flags & control::order_not_taken_over) != 0;
  outcome.problems = problems_in(std::string_view(*reply).substr(sizeof fixed, fixed.problems_length));
  outcome.before = reply->substr(before, fixed.before_length);
  outcome.after = reply->substr(after);
  return outcome;
}

}  // namespace shell
