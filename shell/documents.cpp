// SPDX-License-Identifier: Apache-2.0
#include "shell/documents.h"

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

int show_document(const Match &match, const Query &query) {
  host::Bytes payload = payload_of(query.operation);
  if (query.payload != nullptr) {
    const host::Bytes asked = query.payload(match);
    payload.insert(payload.end(), asked.begin(), asked.end());
  }
  host::Bytes reply;
  if (const int status = request(subject_of_document(match), Operation::as_json, payload, &reply); status != 0)
    return status;
  const bool has_filters = query.operation == Operation::show_history || query.operation == Operation::show_log;
  const std::optional<Missing> missing = has_filters ? missing_in(match) : std::nullopt;
  if (missing && is_empty_list(text_of(reply))) return failed(missing->subject, missing->why);
  const std::string text = query.add_own == nullptr ? text_of(reply) : query.add_own(text_of(reply));
  std::fwrite(text.data(), 1, text.size(), stdout);
  return 0;
}

}  // namespace shell
