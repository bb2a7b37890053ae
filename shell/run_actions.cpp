// SPDX-License-Identifier: Apache-2.0
// Commands about runs: looking back and ahead, and acting on them.
#include <charconv>
#include <cstdio>
#include <cstring>

#include "shell/actions.h"
#include "shell/service_request.h"
#include "shell/session.h"

namespace shell {

namespace {

// The grammar lets nothing but a number in its range through. 0: left out.
uint64_t number_of(const Match &match, std::string_view parameter) {
  uint64_t number = 0;
  if (const std::string *text = match.value(parameter))
    std::from_chars(text->data(), text->data() + text->size(), number);
  return number;
}

std::string schedule_of(const Match &match) {
  const std::string *name = match.value("schedule");
  return name == nullptr ? std::string() : *name;
}

// As the operator named it, or else the command.
std::string subject_of(const Match &match) {
  if (const std::string *schedule = match.value("schedule")) return "schedule " + *schedule;
  if (const std::string *run = match.value("run")) return "run " + *run;
  return words_of(match);
}

int show_runs_of(const Match &match, bool failed_only) {
  const control::HistoryQuery query = {0, static_cast<uint32_t>(number_of(match, "count")), failed_only ? 1u : 0u};
  return show_text(subject_of(match), control::Operation::show_history, payload_of(query, schedule_of(match)));
}

int order(const Match &match, control::Operation operation, host::Bytes *reply = nullptr) {
  const std::string schedule = schedule_of(match);
  return request(subject_of(match), operation, std::as_bytes(std::span(schedule)), reply);
}

int order_to(const std::string &schedule, control::Operation operation) {
  return request("schedule " + schedule, operation, std::as_bytes(std::span(schedule)));
}

}  // namespace

int show_runs(Session &, const Match &match) {
  return show_runs_of(match, false);
}
int show_failed_runs(Session &, const Match &match) {
  return show_runs_of(match, true);
}

int show_run(Session &, const Match &match) {
  return show_text(subject_of(match), control::Operation::show_history,
                   payload_of(control::HistoryQuery{number_of(match, "run"), 0, 0}));
}

int show_upcoming(Session &, const Match &match) {
  const control::UpcomingQuery query = {static_cast<uint32_t>(number_of(match, "count"))};
  return show_text(subject_of(match), control::Operation::show_upcoming, payload_of(query, schedule_of(match)));
}

int run_schedule(Session &, const Match &match) {
  host::Bytes reply;
  const int status = order(match, control::Operation::run_schedule, &reply);
  uint64_t number = 0;
  if (status != 0 || reply.size() != sizeof number) return status;
  std::memcpy(&number, reply.data(), sizeof number);
  std::printf("run %llu\n", static_cast<unsigned long long>(number));
  return 0;
}

int kill_run(Session &, const Match &match) {
  const uint64_t number = number_of(match, "run");
  return request(subject_of(match), control::Operation::kill_run, std::as_bytes(std::span(&number, 1)), nullptr);
}

int enable_schedule(Session &, const Match &match) {
  return order(match, control::Operation::enable_schedule);
}
int disable_schedule(Session &, const Match &match) {
  return order(match, control::Operation::disable_schedule);
}

int enable_this_schedule(Session &session, const Match &) {
  return order_to(session.schedule(), control::Operation::enable_schedule);
}
int disable_this_schedule(Session &session, const Match &) {
  return order_to(session.schedule(), control::Operation::disable_schedule);
}

}  // namespace shell
