// SPDX-License-Identifier: Apache-2.0
#include "shell/service_request.h"

#include <cstdio>
#include <sstream>

namespace shell {

namespace {

Names lines_of(const host::Bytes &reply) {
  Names lines;
  std::istringstream text(text_of(reply));
  for (std::string line; std::getline(text, line);)
    lines.push_back(line);
  return lines;
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
  return name == "user" ? names_of(control::ObjectKind::user, typed) : Names();
}

}  // namespace shell
