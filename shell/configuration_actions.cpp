// SPDX-License-Identifier: Apache-2.0
// Commands about the configuration as a whole.
#include <charconv>
#include <cstdio>

#include "control/operations.h"
#include "shell/actions.h"
#include "shell/complain.h"
#include "shell/configuration_change.h"
#include "shell/configuration_diff.h"
#include "shell/configuration_request.h"
#include "shell/service_request.h"
#include "shell/session.h"
#include "shell/whole_input.h"

namespace shell {

namespace {

using control::ConfigurationSource;
using control::Operation;

// Errors about files name the file themselves.
int failed_file(const host::Error &error) {
  complain({}, "Error: " + error.text);
  return static_cast<int>(error.code);
}

uint32_t number_in(const std::string &text) {
  uint32_t number = 0;
  std::from_chars(text.data(), text.data() + text.size(), number);
  return number;
}

ChangeMode mode_of(const Match &match) {
  const std::string_view syntax = match.command->syntax;
  return syntax.ends_with(" check")  ? ChangeMode::check
         : syntax.ends_with(" diff") ? ChangeMode::diff
                                     : ChangeMode::apply;
}

WantedChange change_of(const Match &match, std::string command) {
  WantedChange change;
  change.command = std::move(command);
  change.mode = mode_of(match);
  if (const std::string *minutes = match.value("minutes")) change.order.confirm_minutes = number_in(*minutes);
  return change;
}

int change_to_file(Session &session, const Match &match, const std::string &verb, bool overlay) {
  const std::string &path = *match.value("path");
  if (path == "-" && session.options().input_is_stdin) {
    complain({}, "Error: the commands come from standard input; name the file");
    return failure_status;
  }
  const host::Result<std::string> input = read_whole(path);
  if (!input) return failed_file(input.error());
  WantedChange change = change_of(match, verb + " " + path);
  change.order.overlay = overlay ? 1 : 0;
  return change_to_text(session, read_configuration_text(*input), path == "-" ? "standard input" : path,
                        std::move(change));
}

int show_text(const Match &match, const host::Result<std::string> &text) {
  if (!text) return failed(words_of(match), text.error());
  const std::string &shown = *text;
  std::fwrite(shown.data(), 1, shown.size(), stdout);
  return 0;
}

int show_difference(const Match &match, const host::Result<std::string> &before,
                    const host::Result<std::string> &after) {
  if (!before) return failed(words_of(match), before.error());
  if (!after) return failed(words_of(match), after.error());
  return show_text(match, configuration_diff(*before, *after));
}

int write_to_file(const Match &match, const host::Result<std::string> &text) {
  if (!text) return failed(words_of(match), text.error());
  const host::Result<void> written = write_whole(*match.value("path"), *text);
  return written ? 0 : failed_file(written.error());
}

}  // namespace

int show_running(Session &session, const Match &match) {
  const host::Result<std::string> text = running_configuration();
  if (text) session.note_configuration(*text);
  return show_text(match, text);
}

int show_startup(Session &, const Match &match) {
  return show_text(match, startup_configuration());
}

int show_startup_difference(Session &, const Match &match) {
  return show_difference(match, running_configuration(), startup_configuration());
}

int replace_configuration(Session &session, const Match &match) {
  return change_to_file(session, match, "configure replace", false);
}

int copy_file_to_running(Session &session, const Match &match) {
  return change_to_file(session, match, "copy", true);
}

int copy_startup_to_running(Session &session, const Match &match) {
  WantedChange change = change_of(match, "copy startup-config running-config");
  change.order.source = static_cast<uint32_t>(ConfigurationSource::startup);
  change.order.overlay = 1;
  return change_configuration(session, change);
}

int roll_back(Session &session, const Match &match) {
  const std::string &number = *match.value("configuration");
  WantedChange change = change_of(match, "rollback " + number);
  change.order.source = static_cast<uint32_t>(ConfigurationSource::entry);
  change.order.number = number_in(number);
  return change_configuration(session, change);
}

int confirm_configuration(Session &, const Match &match) {
  return show_text(words_of(match), Operation::confirm_configuration);
}

int show_configuration_difference(Session &, const Match &match) {
  return show_difference(match, kept_configuration(number_in(match.arguments.front().value)),
                         kept_configuration(number_in(match.arguments.back().value)));
}

int copy_running_to_file(Session &, const Match &match) {
  return write_to_file(match, running_configuration());
}
int copy_startup_to_file(Session &, const Match &match) {
  return write_to_file(match, startup_configuration());
}

int erase_startup(Session &, const Match &match) {
  return show_text(words_of(match), Operation::erase_startup);
}

}  // namespace shell
