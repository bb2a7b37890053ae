// SPDX-License-Identifier: Apache-2.0
#include "shell/library_call.h"

#include <cstdio>
#include <cstring>
#include <sstream>

#include "control/statuses.h"
#include "host/status.h"
#include "platform/security.h"
#include "shell/held_stream.h"
#include "shell/passed_start.h"
#include "shell/service_request.h"

namespace shell {

namespace {

constexpr uint32_t read_operation = 1;  // of cmi_security_user_config()
constexpr std::string_view file_exists = "Error: File exists.\n";

// Not for show commands, whose output is long and whose messages need no completion.
bool has_messages_to_mend(const Command &command) {
  return !std::string_view(command.syntax).starts_with("show ") && command.handler != sch_cli_aaa_auth_passwd;
}

bool is_log_in_use(const Match &match) {
  const std::string *uri = match.value("uri");
  const host::Result<host::Bytes> in_use = control::ask_service(control::Operation::log_uri);
  return uri != nullptr && in_use && text_of(*in_use) == *uri;
}

// Whether the wanted state exists already. For the feature the handler returns success itself, after a message.
bool is_there_already(const Match &match, int status, const std::string &messages) {
  const Command &command = *match.command;
  if (command.handler == sch_enable_scheduler) return status == 0;
  if (command.handler == sch_cli_logfile_rename)
    return status == 0 && messages.find(file_exists) != std::string::npos && is_log_in_use(match);
  if (command.negates()) return false;
  const auto code = static_cast<uint32_t>(status);
  return (command.handler == sch_cli_modify_schedule && code == control::err_already_assigned) ||
         (command.handler == sch_cli_modify_schedule_emailaddr && code == SCH_STATUS_EXISTS);
}

std::string without_errors(const std::string &messages) {
  std::istringstream lines(messages);
  std::string kept;
  for (std::string line; std::getline(lines, line);)
    if (!line.starts_with("Error")) kept += line + "\n";
  return kept;
}

// What the handlers' own messages begin with behind "Error: "; what begins otherwise is a bare reason.
bool names_subject(std::string_view message) {
  for (const std::string_view begin : {"create ", "delete ", "modify ", "could ", "job ", "File "})
    if (message.starts_with(begin)) return true;
  return false;
}

int mend(const Match &match, int status, std::string messages) {
  const std::string subject = words_of(match);
  messages = with_subject(messages, subject);
  if (is_there_already(match, status, messages)) {
    status = 0;
    messages = without_errors(messages);
  } else if (match.command->handler == sch_cli_logfile_rename && messages.find(file_exists) != std::string::npos) {
    // The handler returns success although nothing was done: a script must notice that.
    status = failure_status;
    messages = "Error: " + subject + ": there is a file of this name; remove it or take another name\n";
  }
  std::fputs(messages.c_str(), stderr);
  return status;
}

int call(const Session &session, const Match &match) {
  Context values = session.context(*match.command);
  for (const Argument &argument : match.arguments)
    if (!values.add(*argument.parameter, argument.value)) return failure_status;
  if (!has_messages_to_mend(*match.command)) return match.command->handler(values.get());
  HeldStream held(stderr);
  const int status = match.command->handler(values.get());
  return mend(match, status, held.take());
}

// Then it need not be stored again, which would ask the authentication servers.
bool is_stored_already(const Session &session, const Match &match) {
  const std::string *sealed = match.value("sealed");
  if (match.command->handler != sch_cli_aaa_auth_passwd || sealed == nullptr) return false;
  const std::string *user = match.value("user");
  sch_security_user_rec record = {};
  record.kind = 2;
  (user != nullptr ? *user : session.options().identity.user).copy(record.user_name, sizeof record.user_name - 1);
  const int status = cmi_security_user_config(session.options().identity.handle, read_operation, &record);
  return status == 0 && std::string_view(record.password, strnlen(record.password, sizeof record.password)) == *sealed;
}

bool sets_time(const Command &command) {
  return command.handler == sch_cli_modify_schedule && command.subcommand < SCH_MODIFY_JOB;
}

// Tells a person how the time was understood: "daily 7", typed at one o'clock, means 01:07.
void tell_time(const std::string &schedule) {
  const host::Result<host::Bytes> text =
      control::ask_service(control::Operation::explain_time, std::as_bytes(std::span(schedule)));
  if (text) std::printf("%s", text_of(*text).c_str());
}

}  // namespace

std::string with_subject(const std::string &messages, const std::string &subject) {
  constexpr std::string_view error = "Error: ", nameless = "Error: : ";
  std::istringstream lines(messages);
  std::string mended;
  for (std::string line; std::getline(lines, line);) {
    if (line.starts_with(nameless))
      line.replace(0, nameless.size(), "Error: " + subject + ": ");
    else if (line.starts_with(error) && !names_subject(std::string_view(line).substr(error.size())))
      line.insert(error.size(), subject + ": ");
    mended += line + (lines.eof() ? "" : "\n");
  }
  return mended;
}

int call_library(Session &session, const Match &match) {
  if (is_stored_already(session, match)) return 0;
  const StartCheck start = check_start(session, match);
  if (start.note) session.note(*start.note);
  const int status = start.nothing_to_do ? 0 : call(session, start.match);
  if (status == 0 && session.options().interactive && sets_time(*match.command)) tell_time(session.schedule());
  if (match.command->handler == sch_cli_aaa_auth_passwd) return password_status(status);
  if (match.command->handler == sch_enable_scheduler && status == 0 && !match.command->negates())
    session.enable_scheduler_tree();
  return status;
}

}  // namespace shell
