// SPDX-License-Identifier: Apache-2.0
#include "shell/run_query.h"

#include <algorithm>
#include <charconv>
#include <ctime>

#include "shell/moment.h"
#include "shell/parse.h"
#include "shell/service_request.h"

namespace shell {

namespace {

// The zone is the service's by now.
int64_t since_of(const Match &match) {
  const std::string *text = match.value("moment");
  return text == nullptr ? 0 : moment_of(*text, time(nullptr)).value_or(0);
}

template <size_t size>
void fill(char (&field)[size], const std::string *text) {
  if (text != nullptr) text->copy(field, size - 1);
}

uint32_t count_of(const Match &match) {
  return static_cast<uint32_t>(number_of(match, "count"));
}

}  // namespace

// The grammar lets nothing but a number in its range through.
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

control::LogQuery log_query_of(const Match &match) {
  control::LogQuery query = {};
  query.count = count_of(match);
  query.failed_only = match.has("failed") ? 1 : 0;
  query.since = since_of(match);
  fill(query.schedule, match.value("schedule"));
  fill(query.job, match.value("job"));
  return query;
}

host::Bytes history_query_of(const Match &match) {
  control::HistoryQuery query = {0, count_of(match), match.has("failed") ? 1u : 0u};
  query.since = since_of(match);
  fill(query.job, match.value("job"));
  return payload_of(query, schedule_of(match));
}

host::Bytes run_query_of(const Match &match) {
  return payload_of(control::HistoryQuery{number_of(match, "run"), 0, 0});
}

host::Bytes upcoming_query_of(const Match &match) {
  return payload_of(control::UpcomingQuery{count_of(match)}, schedule_of(match));
}

std::optional<Missing> missing_in(const Match &match) {
  constexpr struct {
    const char *word;
    control::ObjectKind kind;
  } filters[] = {{"schedule", control::ObjectKind::schedule}, {"job", control::ObjectKind::job}};
  for (const auto &filter : filters) {
    const std::string *name = match.value(filter.word);
    if (name == nullptr) continue;
    if (const host::Result<Names> found = find_named(filter.kind, *name); !found)
      return Missing{std::string(filter.word) + " " + *name, found.error()};
  }
  return std::nullopt;
}

host::Bytes name_query_of(const Match &match) {
  const std::string name = match.arguments.empty() ? std::string() : match.arguments.front().value;
  const auto bytes = std::as_bytes(std::span(name));
  return {bytes.begin(), bytes.end()};
}

host::Bytes chosen_log_query_of(const Match &match) {
  return payload_of(log_query_of(match));
}

host::Bytes difference_query_of(const Match &match) {
  const auto number = [](const Argument &argument) {
    return static_cast<uint32_t>(std::min(std::stoull(argument.value), 0xfffffffeull));
  };
  return payload_of(control::DifferenceQuery{number(match.arguments.front()), number(match.arguments.back())});
}

host::Bytes startup_difference_query_of(const Match &) {
  return payload_of(
      control::DifferenceQuery{control::running_configuration_number, control::startup_configuration_number});
}

std::string subject_of(const Match &match) {
  if (const std::string *schedule = match.value("schedule")) return "schedule " + *schedule;
  if (const std::string *run = match.value("run")) return "run " + *run;
  return words_of(match);
}

}  // namespace shell
