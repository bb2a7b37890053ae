// SPDX-License-Identifier: Apache-2.0
#include "shell/service_request.h"

#include <cstdio>
#include <sstream>

#include "host/store/store.h"

namespace shell {

namespace {

Names lines_of(const host::Bytes &reply) {
  Names lines;
  std::istringstream text(text_of(reply));
  for (std::string line; std::getline(text, line);)
    lines.push_back(line);
  return lines;
}

Names stores(const std::string &typed) {
  Names found;
  for (const char *uri :
       {"debug:scheduler_debug_startup", "running:scheduler_debug_runtime", "running:scheduler_runtime",
        "running:scheduler_runtime_database", "startup:scheduler_startup"})
    if (std::string_view(uri).starts_with(typed) && host::store_exists(uri)) found.emplace_back(uri);
  return found;
}

}  // namespace

int failed(const std::string &subject, const host::Error &error) {
  std::fprintf(stderr, "Error: %s: %s\n", subject.c_str(), error.text.c_str());
  return static_cast<int>(error.code);
}

int request(const std::string &subject, control::Operation operation, std::span<const std::byte> payload,
            host::Bytes *reply) {
  host::Result<host::Bytes> answer = control::ask_service(operation, payload);
  if (!answer) return failed(subject, answer.error());
  if (reply != nullptr) *reply = std::move(*answer);
  return 0;
}

int show_text(const std::string &subject, control::Operation operation, std::span<const std::byte> payload) {
  host::Bytes text;
  const int status = request(subject, operation, payload, &text);
  if (!text.empty()) std::fwrite(text.data(), 1, text.size(), stdout);
  return status;
}

control::ConfiguredLimits limits_in_use() {
  control::ConfiguredLimits limits;
  const host::Result<host::Bytes> reply = control::ask_service(control::Operation::limits);
  if (reply && reply->size() == sizeof limits) std::memcpy(&limits, reply->data(), sizeof limits);
  return limits;
}

host::Result<Names> find_named(control::ObjectKind kind, const std::string &name) {
  const host::Result<host::Bytes> reply = control::ask_service(control::Operation::find, payload_of(kind, name));
  if (!reply) return reply.error();
  return lines_of(*reply);
}

Names names_of(control::ObjectKind kind, const std::string &beginning) {
  const host::Result<host::Bytes> reply = control::ask_service(control::Operation::names, payload_of(kind, beginning));
  return reply ? lines_of(*reply) : Names();
}

Names existing_names(const Parameter &parameter, const std::string &typed) {
  const std::string_view name = parameter.name;
  if (name == "job") return names_of(control::ObjectKind::job, typed);
  if (name == "schedule") return names_of(control::ObjectKind::schedule, typed);
  if (name == "store") return stores(typed);
  return name == "user" ? names_of(control::ObjectKind::user, typed) : Names();
}

}  // namespace shell
