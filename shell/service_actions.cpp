// SPDX-License-Identifier: Apache-2.0
// Commands that use the service's own operations rather than one of the library's handlers.
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "control/operations.h"
#include "host/debug.h"
#include "shell/actions.h"
#include "shell/run_query.h"
#include "shell/service_request.h"
#include "shell/session.h"

namespace shell {

namespace {

constexpr int32_t default_logging_level = 5;

int send_logging_level(const Match &match, int32_t level) {
  return request(words_of(match), control::Operation::set_logging_level, payload_of(level));
}

}  // namespace

int show_reply(Session &, const Match &match) {
  const Query &query = *match.command->query;
  return show_text(subject_of(match), query.operation, query.payload == nullptr ? host::Bytes() : query.payload(match));
}

int show_metrics(Session &, const Match &match) {
  return show_text(words_of(match), control::Operation::metrics);
}

int take_over(Session &, const Match &match) {
  return request(words_of(match), control::Operation::take_over);
}

int show_history(Session &, const Match &match) {
  std::printf("-- shell --\n%s-- service --\n", host::history_text().c_str());
  return show_text(words_of(match), control::Operation::history);
}

// Not by the library's handler, which returns success whatever happens.
int copy_running_startup(Session &, const Match &match) {
  return request(words_of(match), control::Operation::copy_running_startup);
}

int show_logging_level(Session &, const Match &match) {
  host::Bytes reply;
  const int status = request(words_of(match), control::Operation::get_logging_level, {}, &reply);
  if (status != 0) return status;
  int32_t level = default_logging_level;
  if (reply.size() == sizeof level) std::memcpy(&level, reply.data(), sizeof level);
  std::printf("logging level scheduler %d\n", level);
  return 0;
}

int set_logging_level(Session &, const Match &match) {
  return send_logging_level(match,
                            static_cast<int32_t>(std::strtol(match.arguments.front().value.c_str(), nullptr, 10)));
}

int reset_logging_level(Session &, const Match &match) {
  return send_logging_level(match, default_logging_level);
}

}  // namespace shell
