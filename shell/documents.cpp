// SPDX-License-Identifier: Apache-2.0
#include "shell/documents.h"

#include <algorithm>
#include <cstdio>
#include <optional>

#include "control/json.h"
#include "host/debug.h"
#include "host/errors.h"
#include "host/status.h"
#include "shell/parse.h"
#include "shell/run_query.h"
#include "shell/service_request.h"

namespace shell {

namespace {

using control::Json;
using control::Operation;

host::Bytes name_of(const Match &match) {
  const std::string name = match.arguments.empty() ? std::string() : match.arguments.front().value;
  const auto bytes = std::as_bytes(std::span(name));
  return {bytes.begin(), bytes.end()};
}

host::Bytes log_of(const Match &match) {
  return payload_of(log_query_of(match));
}

host::Bytes difference_of(const Match &match) {
  const auto number = [](const Argument &argument) {
    return static_cast<uint32_t>(std::min(std::stoull(argument.value), 0xfffffffeull));
  };
  return payload_of(control::DifferenceQuery{number(match.arguments.front()), number(match.arguments.back())});
}

host::Bytes difference_of_startup(const Match &) {
  return payload_of(
      control::DifferenceQuery{control::running_configuration_number, control::startup_configuration_number});
}

std::string with_shell_version(const std::string &text) {
  Json document = Json::parse(text);
  document.at("schedcli:version")["shell"] = SCHEDCLI_VERSION;
  return control::json_document(document);
}

std::string with_shell_history(const std::string &text) {
  Json document = Json::parse(text);
  Json &events = document.at("schedcli:debug-history")["shell"] = Json::array();
  for (const host::DebugEvent &event : host::history_events())
    events.push_back(control::json_event(event));
  return control::json_document(document);
}

// Of history and log, which may still have outcomes of what was deleted.
bool is_empty_list(const std::string &text) {
  const Json document = Json::parse(text, nullptr, false);
  if (!document.is_object() || document.empty()) return false;
  const Json &content = document.begin().value();
  return content.value("run", Json::array()).empty() && content.value("entry", Json::array()).empty();
}

std::string subject_of_document(const Match &match) {
  if (match.arguments.size() == 1 && match.value("job") != nullptr) return "job " + *match.value("job");
  return subject_of(match);
}

}  // namespace

namespace documents {
const Document clock = {Operation::get_zone, nullptr, nullptr};
const Document config = {Operation::scheduler_config, nullptr, nullptr};
const Document configuration_history = {Operation::configuration_history, nullptr, nullptr};
const Document debug_history = {Operation::history, nullptr, with_shell_history};
const Document difference = {Operation::configuration_difference, difference_of, nullptr};
const Document history = {Operation::show_history, history_query_of, nullptr};
const Document jobs = {Operation::jobs, name_of, nullptr};
const Document log = {Operation::show_log, log_of, nullptr};
const Document logging = {Operation::get_logging_level, nullptr, nullptr};
const Document memory = {Operation::memory_statistics, nullptr, nullptr};
const Document overview = {Operation::overview, nullptr, nullptr};
const Document run = {Operation::show_history, run_query_of, nullptr};
const Document running = {Operation::running_text, nullptr, nullptr};
const Document schedules = {Operation::schedules, name_of, nullptr};
const Document startup = {Operation::startup_text, nullptr, nullptr};
const Document startup_difference = {Operation::configuration_difference, difference_of_startup, nullptr};
const Document status = {Operation::status, nullptr, nullptr};
const Document upcoming = {Operation::show_upcoming, upcoming_query_of, nullptr};
const Document version = {Operation::version, nullptr, with_shell_version};
}  // namespace documents

int show_document(const Match &match, const Document &document) {
  host::Bytes payload = payload_of(document.operation);
  if (document.payload != nullptr) {
    const host::Bytes asked = document.payload(match);
    payload.insert(payload.end(), asked.begin(), asked.end());
  }
  host::Bytes reply;
  if (const int status = request(subject_of_document(match), Operation::as_json, payload, &reply); status != 0)
    return status;
  const bool has_filters = &document == &documents::history || &document == &documents::log;
  const std::optional<Missing> missing = has_filters ? missing_in(match) : std::nullopt;
  if (missing && is_empty_list(text_of(reply))) return failed(missing->subject, missing->why);
  const std::string text = document.add_own == nullptr ? text_of(reply) : document.add_own(text_of(reply));
  std::fwrite(text.data(), 1, text.size(), stdout);
  return 0;
}

}  // namespace shell
