// SPDX-License-Identifier: Apache-2.0
#include "shell/configuration_change.h"

#include <cstdio>

#include "control/fingerprint.h"
#include "control/statuses.h"
#include "platform/errors.h"
#include "shell/complain.h"
#include "shell/configuration_diff.h"
#include "shell/configuration_request.h"
#include "shell/service_request.h"
#include "shell/session.h"

namespace shell {

namespace {

std::string place(const std::string &origin, size_t line) {
  return line == 0 ? origin : origin + ":" + std::to_string(line);
}

// Translates a line number of the text that was sent into one of the text that the operator wrote.
size_t own_line(const ConfigurationText *text, size_t line) {
  if (text == nullptr || line == 0 || line > text->lines.size()) return 0;
  return text->lines[line - 1];
}

void show(const std::string &diff) {
  std::fwrite(diff.data(), 1, diff.size(), stdout);
}

// Shows the difference and remembers the present configuration as read, so that repeating the command succeeds.
int tell_what_changed(Session &session, const ConfigurationOutcome &outcome) {
  complain({}, "Error: " + std::string(syserr2str(outcome.status)) + "; this has changed since:");
  const std::string diff = configuration_diff(session.configuration_read().value_or(""), outcome.before);
  std::fwrite(diff.data(), 1, diff.size(), stderr);
  complain({}, "give the command again to change what is there now");
  session.note_configuration(outcome.before);
  return static_cast<int>(outcome.status);
}

int tell(Session &session, const WantedChange &change, const std::string &origin, const ConfigurationText *text,
         const ConfigurationOutcome &outcome) {
  if (outcome.status == control::err_changed_since) return tell_what_changed(session, outcome);
  for (const ConfigurationProblem &problem : outcome.problems)
    complain(place(origin, own_line(text, problem.line)), problem.text);
  if (outcome.status != 0) {
    complain({}, "Error: " + std::string(syserr2str(outcome.status)));
    return static_cast<int>(outcome.status);
  }
  if (outcome.order_not_taken_over)
    complain({}, "note: a run is under way, so new jobs and schedules come last; give the command again later");
  session.note_configuration(change.mode == ChangeMode::apply ? outcome.after : outcome.before);
  if (change.shows_difference) show(configuration_diff(outcome.before, outcome.after));
  return change.mode == ChangeMode::check && outcome.before != outcome.after ? differs_status : 0;
}

int order(Session &session, WantedChange change, const std::string &origin, const ConfigurationText *text) {
  if (change.mode != ChangeMode::apply) change.order.check = 1;
  if (session.configuration_read()) change.order.base = control::fingerprint(*session.configuration_read());
  const host::Result<ConfigurationOutcome> outcome = order_configuration(change.order, change.command);
  return outcome ? tell(session, change, origin, text, *outcome) : failed(change.command, outcome.error());
}

}  // namespace

int change_configuration(Session &session, const WantedChange &change) {
  return order(session, change, change.command, nullptr);
}

int change_to_text(Session &session, const ConfigurationText &text, const std::string &origin, WantedChange change) {
  for (const TextProblem &problem : text.problems)
    complain(place(origin, problem.line), problem.text);
  // The text has problems already: it is sent only to have the service report its problems too.
  if (!text.problems.empty()) change.mode = ChangeMode::diff;
  const host::Result<uint32_t> sent = send_configuration(text.text);
  if (!sent) return failed(change.command, sent.error());
  change.order.source = static_cast<uint32_t>(control::ConfigurationSource::text);
  change.order.number = *sent;
  if (text.problems.empty()) return order(session, std::move(change), origin, &text);
  change.order.check = 1;
  const host::Result<ConfigurationOutcome> outcome = order_configuration(change.order, change.command);
  if (outcome)
    for (const ConfigurationProblem &problem : outcome->problems)
      complain(place(origin, own_line(&text, problem.line)), problem.text);
  complain({}, "Error: " + std::string(syserr2str(control::err_bad_configuration)));
  return failure_status;
}

}  // namespace shell
