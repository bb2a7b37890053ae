// SPDX-License-Identifier: Apache-2.0
// Commands that ask the service itself rather than one of the library's handlers.
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "control/operations.h"
#include "host/debug.h"
#include "host/transport/transport.h"
#include "shell/actions.h"
#include "shell/session.h"

namespace shell {

namespace {

constexpr int32_t default_logging_level = 5;

int request(control::Operation operation, std::span<const std::byte> payload = {}, host::Bytes *reply = nullptr) {
  host::Result<host::Bytes> answer = control::ask_service(operation, payload);
  if (!answer) std::fprintf(stderr, "Error: %s\n", answer.error().text.c_str());
  if (answer && reply != nullptr) *reply = std::move(*answer);
  return static_cast<int>(answer.code());
}

int send_logging_level(int32_t level) {
  return request(control::Operation::set_logging_level, std::as_bytes(std::span(&level, 1)));
}

}  // namespace

int show_text(control::Operation operation) {
  host::Bytes text;
  const int status = request(operation, {}, &text);
  if (!text.empty()) std::fwrite(text.data(), 1, text.size(), stdout);
  return status;
}

int show_history(Session &, const Match &) {
  std::printf("-- shell --\n%s-- service --\n", host::history_text().c_str());
  return show_text(control::Operation::history);
}

int copy_running_startup(Session &, const Match &) {
  return request(control::Operation::copy_running_startup);
}

int show_logging_level(Session &, const Match &) {
  host::Bytes reply;
  const int status = request(control::Operation::get_logging_level, {}, &reply);
  if (status != 0) return status;
  int32_t level = default_logging_level;
  if (reply.size() == sizeof level) std::memcpy(&level, reply.data(), sizeof level);
  std::printf("logging level scheduler %d\n", level);
  return 0;
}

int set_logging_level(Session &, const Match &match) {
  return send_logging_level(static_cast<int32_t>(std::strtol(match.arguments.front().value.c_str(), nullptr, 10)));
}

int reset_logging_level(Session &, const Match &) {
  return send_logging_level(default_logging_level);
}

}  // namespace shell
