// SPDX-License-Identifier: Apache-2.0
#include "control/configuration.h"
#include "control/statuses.h"
#include "service/request/configuration.h"

#include <algorithm>

#include "control/fingerprint.h"
#include "host/status.h"
#include "host/store/store.h"
#include "host/visible.h"
#include "platform/errors.h"
#include "service/clock.h"
#include "service/configuration/apply.h"
#include "service/configuration/in_use.h"
#include "service/configuration/pending.h"
#include "service/configuration/startup_level.h"
#include "service/configuration/stored_passwords.h"
#include "service/configuration/target.h"
#include "service/request/answer.h"
#include "service/request/payload.h"
#include "service/request/shown.h"
#include "service/request/shown_time.h"
#include "service/request/text_table.h"
#include "service/run/runner.h"
#include "service/state/schedule_state.h"

namespace service {
namespace {

using control::ConfigurationOrder;
using control::ConfigurationReply;
using control::ConfigurationSource;

Operator operator_of(const Call &call) {
  const Owner owner = call.context.authority.owner(call.caller);
  return {{owner_tag(owner.uid), owner.name}, call.context.authority.administrator(call.caller)};
}

std::optional<uint32_t> part_of_caller(const Call &call) {
  const Operator who = operator_of(call);
  return who.administrator ? std::nullopt : std::optional(who.owner.tag);
}

MayUsePassword passwords_of_caller(const Call &call) {
  return [&call](const std::string &user) { return call.context.authority.may_use_password_of(call.caller, user); };
}

std::string text_with(Configuration configuration, const host::SealedPasswords &passwords) {
  configuration.passwords = passwords;
  return text_of(configuration);
}

host::Answer answer_part(const Call &call, const host::Result<Configuration> &configuration) {
  if (!configuration) return with_status(configuration.code());
  return with_text(text_of(part_of(*configuration, part_of_caller(call))));
}

// For the configuration in use, before and after the change. Those of the history have no passwords.
host::Answer answer_part_with_passwords(const Call &call, const host::Result<Configuration> &configuration) {
  if (!configuration) return with_status(configuration.code());
  const host::Result<host::SealedPasswords> passwords = stored_passwords(passwords_of_caller(call));
  if (!passwords) return with_status(passwords.code());
  return with_text(text_with(part_of(*configuration, part_of_caller(call)), *passwords));
}

struct ReplaceOutcome {
  uint32_t status = 0;
  uint32_t flags = 0;
  std::string problems;  // one a line: the number of the text's line, a blank, what is wrong
  std::string before, after;
};

host::Answer answer_outcome(const ReplaceOutcome &outcome) {
  const ConfigurationReply fixed = {outcome.status, outcome.flags, static_cast<uint32_t>(outcome.problems.size()),
                                    static_cast<uint32_t>(outcome.before.size())};
  host::Bytes reply;
  append_record(&reply, fixed);
  append_text(&reply, outcome.problems + outcome.before + outcome.after);
  return with_reply(std::move(reply));
}

std::string lines_of(const std::vector<LineProblem> &problems) {
  std::string lines;
  for (const LineProblem &problem : problems)
    lines += std::to_string(problem.line) + " " + problem.text + "\n";
  return lines;
}

// The wanted configuration, reduced to what the caller may change.
host::Result<ConfigurationRead> wanted_by(const Call &call, const ConfigurationOrder &order) {
  const auto kept = [&](const host::Result<Configuration> &whole) -> host::Result<ConfigurationRead> {
    if (!whole) return whole.error();
    return ConfigurationRead{part_of(*whole, part_of_caller(call)), {}, {}};
  };
  switch (static_cast<ConfigurationSource>(order.source)) {
    case ConfigurationSource::entry:
      return kept(configuration_of_entry(order.number));
    case ConfigurationSource::startup:
      return kept(startup_configuration());
    default:
      break;
  }
  const host::Result<std::string> text =
      call.context.pending_configuration->uploads.take(order.number, call.caller.uid);
  if (!text) return text.error();
  const bool on_top = order.overlay != 0 && !part_of_caller(call);
  return read_configuration(*text, Owners::omitted, on_top ? configuration_in_use().settings : GlobalSettings());
}

uint32_t may_apply(const Call &call, const ConfigurationOrder &order) {
  const Context &context = call.context;
  if (context.pending_configuration == nullptr) return host::err_unknown_opcode;
  if (!context.authority.administrator(call.caller) && scheduler_enabled == 0) return control::err_disabled;
  const uint32_t status = context.authority.may_configure(call.caller, context.settings->allow_groups,
                                                          context.runner.processes().user_groups());
  if (status != 0) return status;
  if (order.confirm_minutes > control::confirm_minutes_limit) return host::err_bad_value;
  return order.check == 0 && context.pending_configuration->confirmation.awaited() ? control::err_unconfirmed : 0;
}

Origin origin_of(const Call &call, std::string_view sent) {
  const std::string_view whence = sent.substr(0, sent.find('\0'));
  sent.remove_prefix(std::min(whence.size() + 1, sent.size()));
  const std::string process = "process " + std::to_string(call.caller.pid);
  return {wall_clock(), call.caller.user_name, whence.empty() ? process : process + ", " + std::string(whence),
          std::string(sent)};
}

host::Result<Applied> apply(const Call &call, const ConfigurationOrder &order, const Configuration &target,
                            const std::vector<PasswordLine> &passwords, const Origin &origin) {
  Confirmation &confirmation = call.context.pending_configuration->confirmation;
  uint32_t entry = 0;
  const auto await = [&](const HistoryDraft &draft) -> host::Result<void> {
    entry = draft.after;
    if (host::Result<void> noted = note_passwords(entry, passwords); !noted) return noted;
    if (order.confirm_minutes == 0) return {};
    return confirmation.await({draft.before, draft.after, origin.at + time_t{order.confirm_minutes} * 60,
                               part_of_caller(call).value_or(0), call.caller.user_name});
  };
  host::Result<Applied> applied = apply_configuration(call.context, target, origin, await);
  if (!applied && order.confirm_minutes != 0) confirmation.withdraw();
  if (applied && !store_passwords(passwords)) {
    applied->warning = "the passwords could not be stored; the next start of the service tries again";
    return applied;
  }
  if (!passwords.empty()) forget_passwords(entry);
  return applied;
}

ReplaceOutcome outcome_of(const Call &call, const ConfigurationOrder &order, const ConfigurationRead &wanted,
                          const host::SealedPasswords &stored, const Origin &origin) {
  ReplaceOutcome outcome;
  const std::optional<uint32_t> part = part_of_caller(call);
  const Configuration current = configuration_in_use();
  outcome.before = outcome.after = text_with(part_of(current, part), stored);
  std::vector<LineProblem> problems = wanted.problems;
  const std::vector<LineProblem> of_passwords = objections_to(wanted.passwords, stored, passwords_of_caller(call));
  problems.insert(problems.end(), of_passwords.begin(), of_passwords.end());
  const Target target = target_of(current, wanted.configuration, order.overlay != 0 ? Scope::overlay : Scope::replace,
                                  operator_of(call), *call.context.settings);
  problems.insert(problems.end(), target.problems.begin(), target.problems.end());
  std::ranges::stable_sort(problems, {}, &LineProblem::line);
  outcome.problems = lines_of(problems);
  if (!problems.empty()) {
    outcome.status = control::err_bad_configuration;
    return outcome;
  }
  const host::SealedPasswords passwords = with_wanted(stored, wanted.passwords);
  outcome.after = text_with(part_of(target.whole, part), passwords);
  if (outcome.after == outcome.before || order.check != 0) return outcome;
  if (order.base != 0 && order.base != control::fingerprint(outcome.before)) {
    outcome.status = control::err_changed_since;
    return outcome;
  }
  if (text_of(target.whole) == text_of(current)) {  // of which passwords are no part
    const host::Result<void> stored_now = store_passwords(wanted.passwords);
    outcome.status = stored_now.code();
    return outcome;
  }
  const host::Result<Applied> applied = apply(call, order, target.whole, wanted.passwords, origin);
  outcome.status = applied.code();
  if (!applied) {
    outcome.problems = "0 " + applied.error().text + "\n";
    return outcome;
  }
  outcome.after = text_with(part_of(configuration_in_use(), part), passwords);
  if (!applied->keeps_order) outcome.flags |= control::order_not_taken_over;
  if (!applied->warning.empty()) outcome.problems = "0 " + applied->warning + "\n";
  return outcome;
}

}  // namespace

host::Answer put_configuration(const Call &call, Payload payload) {
  if (call.context.pending_configuration == nullptr) return with_status(host::err_unknown_opcode);
  const auto id = record_of<uint32_t>(payload);
  const host::Result<uint32_t> added = call.context.pending_configuration->uploads.add(
      id, call.caller.uid, text_of(payload.subspan(sizeof id)), wall_clock());
  if (!added) return with_status(added.code());
  host::Bytes reply;
  append_record(&reply, *added);
  return with_reply(std::move(reply));
}

host::Answer apply_configuration(const Call &call, Payload payload) {
  const auto order = record_of<ConfigurationOrder>(payload);
  if (const uint32_t status = may_apply(call, order); status != 0) return with_status(status);
  const host::Result<ConfigurationRead> wanted = wanted_by(call, order);
  if (!wanted) return with_status(wanted.code());
  const host::Result<host::SealedPasswords> stored = stored_passwords(passwords_of_caller(call));
  if (!stored) return with_status(stored.code());
  const Origin origin = origin_of(call, text_of(payload.subspan(sizeof order)));
  return answer_outcome(outcome_of(call, order, *wanted, *stored, origin));
}

host::Answer show_configuration(const Call &call, Payload payload) {
  return answer_part(call, configuration_of_entry(record_of<uint32_t>(payload)));
}

host::Answer show_running(const Call &call, Payload) {
  return answer_part_with_passwords(call, configuration_in_use());
}
host::Answer show_startup(const Call &call, Payload) {
  return answer_part_with_passwords(call, startup_configuration());
}

host::Answer show_configuration_history(const Call &, Payload) {
  TextTable table({"configuration", "when", "who", "from", "with"});
  std::vector<HistoryEntry> entries = configuration_history();
  for (auto entry = entries.rbegin(); entry != entries.rend(); ++entry)
    table.add({std::to_string(entry->number), entry->origin.at == 0 ? "-" : shown_moment(entry->origin.at),
               host::visible(entry->origin.who), host::visible(entry->origin.whence),
               host::visible(entry->origin.what)});
  return with_text(table.empty() ? "" : table.text());
}

host::Answer confirm_configuration(const Call &call, Payload) {
  if (call.context.pending_configuration == nullptr) return with_status(host::err_unknown_opcode);
  Confirmation &confirmation = call.context.pending_configuration->confirmation;
  const std::optional<Confirmation::Awaited> awaited = confirmation.awaited();
  if (!awaited) return with_status(control::err_nothing_to_confirm);
  const std::optional<uint32_t> part = part_of_caller(call);
  if (part && awaited->owner_tag != *part) return with_status(control::err_not_owner);
  return with_status(confirmation.forget().code());
}

host::Answer erase_startup(const Call &, Payload) {
  if (!host::store_exists(sch_pss_startup_uri)) return with_status(control::err_no_startup);
  const uint32_t status = pss_destroy(sch_pss_startup_uri);
  // Nothing reads what is left where this fails, and the next save replaces it.
  if (status == 0 && host::store_exists(sch_debug_pss_startup_uri)) (void)pss_destroy(sch_debug_pss_startup_uri);
  return with_status(status);
}

host::Answer save_running(const Call &call, Payload) {
  // The configuration is that of whoever changed it last; after a restart that is not known any more.
  Origin origin = call.context.last_change;
  if (origin.at == 0) {
    origin = origin_of(call, {});
    origin.what = "copy running-config startup-config";
  }
  if (const auto kept = keep_in_history(configuration_in_use(), origin); !kept) return with_status(kept.code());
  if (const auto held = hold_startup_logging_level(); !held) return with_status(held.code());
  const bool saved = sch_pss_snapshot(sch_debug_pss_running_uri, sch_debug_pss_startup_uri) == 0 &&
                     sch_pss_snapshot(sch_pss_running_uri, sch_pss_startup_uri) == 0;
  if (saved) release_startup_logging_level();
  return with_status(saved ? 0 : control::err_not_stored);
}

}  // namespace service
