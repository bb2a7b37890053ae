// SPDX-License-Identifier: Apache-2.0
#include "service/request/control.h"

#include <syslog.h>

#include <algorithm>
#include <cstring>
#include <ctime>
#include <limits>

#include "control/configuration.h"
#include "control/statuses.h"
#include "host/debug.h"
#include "host/security/security.h"
#include "host/status.h"
#include "service/calendar/service_zone.h"
#include "service/clock.h"
#include "service/document/documents.h"
#include "service/metrics/metrics.h"
#include "service/request/answer.h"
#include "service/request/configuration.h"
#include "service/request/feature.h"
#include "service/request/logging_level.h"
#include "service/request/names.h"
#include "service/request/overview.h"
#include "service/request/payload.h"
#include "service/request/raw_output.h"
#include "service/request/rename.h"
#include "service/request/run_orders.h"
#include "service/request/show.h"
#include "service/request/show_runs.h"
#include "service/request/show_upcoming.h"
#include "service/request/status.h"
#include "service/run/runner.h"
#include "service/state/change.h"
#include "service/state/schedule_state.h"

namespace service {
namespace {

using control::Operation;

host::Answer text_reply(const std::string &text) {
  host::Bytes reply;
  append_text(&reply, text);
  return with_reply(std::move(reply));
}

uint32_t set_feature(bool enable) {
  if ((scheduler_enabled != 0) == enable) return enable ? host::err_feature_enabled : host::err_feature_disabled;
  ConfigChange change;
  change_feature(change, enable, wall_clock());
  return change.commit();
}

host::Answer set_logging_level(const Call &, Payload payload) {
  const auto level = record_of<int32_t>(payload);
  if (level < LOG_EMERG || level > LOG_DEBUG) return with_status(host::err_bad_value);
  const uint32_t error = store_logging_level(debug_pss_running, level);
  if (error == 0) apply_logging_level();
  return with_status(error == 0 ? 0 : control::err_not_stored);
}

host::Answer get_logging_level() {
  host::Bytes reply;
  append_record(&reply, logging_level(debug_pss_running));
  return with_reply(std::move(reply));
}

// Storing a password counts as configuring.
bool may_store_password(const Call &call) {
  return call.context.authority.is_allowed(call.caller, call.context.settings->allow_groups,
                                           call.context.runner.processes().user_groups());
}

template <Operation operation>
host::Answer security(const Call &call, Payload payload) {
  if (operation == Operation::security_store && !may_store_password(call)) return with_status(control::err_not_allowed);
  return host::answer_security_request(static_cast<uint32_t>(operation), payload, [&](const std::string &user) {
    return call.context.authority.may_use_password_of(call.caller, user);
  });
}

host::Answer nothing_to_take_over() {
  return with_status(control::err_active);
}
host::Answer memory_text() {
  return text_reply(host::memory_statistics());
}
host::Answer history_text() {
  return text_reply(host::history_text());
}
host::Answer limits_reply(const Call &call, Payload) {
  host::Bytes reply;
  append_record(&reply, configured_limits(*call.context.settings));
  return with_reply(std::move(reply));
}
host::Answer log_uri() {
  return text_reply({sch_log_file.uri, strnlen(sch_log_file.uri, sizeof sch_log_file.uri)});
}
host::Answer status_reply(const Call &call, Payload) {
  return text_reply(status_text(call));
}

host::Answer metrics_reply(const Call &call, Payload) {
  return text_reply(metrics_text(call));
}

host::Answer overview(const Call &call, Payload) {
  return show_overview(call);
}

template <host::Answer (*answer)()>
host::Answer bare(const Call &, Payload) {
  return answer();
}
template <bool enable>
host::Answer set_feature(const Call &, Payload) {
  return with_status(set_feature(enable));
}
template <bool enable>
host::Answer set_schedule_enabled(const Call &call, Payload payload) {
  return set_schedule_enabled(call, payload, enable);
}

enum class For { everybody, administrator };  // everybody: the answer is restricted to what the caller may see

struct Row {
  Operation operation;
  For whom;
  size_t shortest, longest;                         // bytes of the payload
  host::Answer (*answer)(const Call &, Payload);    // null: it answers with a document alone
  host::Answer (*document)(const Call &, Payload);  // what as_json asks for; null: there is none
};

constexpr size_t any_length = std::numeric_limits<size_t>::max();

// For operations that check their payload themselves.
constexpr Row row(Operation operation, For whom, host::Answer (*answer)(const Call &, Payload),
                  host::Answer (*document)(const Call &, Payload) = nullptr) {
  return {operation, whom, 0, any_length, answer, document};
}

constexpr Row document_row(Operation operation, For whom, host::Answer (*document)(const Call &, Payload)) {
  return row(operation, whom, nullptr, document);
}

constexpr Row rows[] = {
    row(Operation::enable_feature, For::administrator, set_feature<true>),
    row(Operation::disable_feature, For::administrator, set_feature<false>),
    row(Operation::memory_statistics, For::administrator, bare<memory_text>, memory_document),
    row(Operation::history, For::administrator, bare<history_text>, debug_history_document),
    row(Operation::running_text, For::everybody, running_text, running_document),
    row(Operation::startup_text, For::everybody, startup_text, startup_document),
    row(Operation::copy_running_startup, For::administrator, save_running),
    {Operation::set_logging_level, For::administrator, sizeof(int32_t), sizeof(int32_t), set_logging_level, nullptr},
    row(Operation::get_logging_level, For::everybody, bare<get_logging_level>, logging_document),
    row(Operation::get_zone, For::everybody, bare<zone_in_use>, clock_document),
    row(Operation::take_over, For::administrator, bare<nothing_to_take_over>),
    row(Operation::status, For::everybody, status_reply, status_document),
    row(Operation::security_read, For::everybody, security<Operation::security_read>),
    row(Operation::security_store, For::everybody, security<Operation::security_store>),
    row(Operation::security_remove, For::everybody, security<Operation::security_remove>),
    row(Operation::security_authenticate, For::everybody, security<Operation::security_authenticate>),
    row(Operation::show_history, For::everybody, show_history, history_document),
    row(Operation::show_upcoming, For::everybody, show_upcoming, upcoming_document),
    row(Operation::run_schedule, For::everybody, run_schedule),
    row(Operation::kill_run, For::everybody, kill_run),
    row(Operation::enable_schedule, For::everybody, set_schedule_enabled<true>),
    row(Operation::disable_schedule, For::everybody, set_schedule_enabled<false>),
    {Operation::raw_output, For::everybody, sizeof(uint64_t), sizeof(uint64_t), raw_output, nullptr},
    {Operation::find, For::everybody, sizeof(control::ObjectKind), any_length, find_named, nullptr},
    {Operation::names, For::everybody, sizeof(control::ObjectKind), any_length, list_names, nullptr},
    row(Operation::log_uri, For::everybody, bare<log_uri>),
    {Operation::rename, For::everybody, sizeof(control::ObjectKind), any_length, rename_named, nullptr},
    row(Operation::overview, For::everybody, overview, overview_document),
    row(Operation::explain_time, For::everybody, explain_time),
    {Operation::show_log, For::everybody, sizeof(control::LogQuery), sizeof(control::LogQuery), show_chosen_log,
     log_document},
    {Operation::put_configuration, For::everybody, sizeof(uint32_t), any_length, put_configuration, nullptr},
    {Operation::apply_configuration, For::everybody, sizeof(control::ConfigurationOrder), any_length,
     apply_configuration, nullptr},
    {Operation::configuration_entry, For::everybody, sizeof(uint32_t), sizeof(uint32_t), show_configuration, nullptr},
    row(Operation::configuration_history, For::everybody, show_configuration_history, configuration_history_document),
    row(Operation::confirm_configuration, For::everybody, confirm_configuration),
    row(Operation::erase_startup, For::administrator, erase_startup),
    row(Operation::metrics, For::administrator, metrics_reply),
    row(Operation::limits, For::everybody, limits_reply),
    document_row(Operation::jobs, For::everybody, jobs_document),
    document_row(Operation::schedules, For::everybody, schedules_document),
    document_row(Operation::scheduler_config, For::everybody, scheduler_config_document),
    {Operation::configuration_difference, For::everybody, sizeof(control::DifferenceQuery),
     sizeof(control::DifferenceQuery), nullptr, difference_document},
    document_row(Operation::version, For::everybody, version_document),
};

}  // namespace

bool changes_something(Operation operation) {
  const bool of_runs = operation >= Operation::run_schedule && operation <= Operation::disable_schedule;
  const bool of_configuration = operation == Operation::put_configuration ||
                                operation == Operation::apply_configuration ||
                                operation == Operation::confirm_configuration || operation == Operation::rename;
  return of_runs || of_configuration || operation == Operation::security_store ||
         operation == Operation::security_remove;
}

host::Answer zone_in_use() {
  host::Bytes reply;
  append_record(&reply, service_zone().offset_at(wall_clock()));
  append_text(&reply, service_zone().identifier());
  return with_reply(std::move(reply));
}

host::Answer control(const Call &call, control::Operation operation, Payload payload) {
  const bool as_json = operation == Operation::as_json;
  if (as_json && payload.size() < sizeof operation) return with_status(host::err_bad_request);
  if (as_json) {
    operation = record_of<Operation>(payload);
    payload = payload.subspan(sizeof operation);
  }
  const Row *row = std::ranges::find(rows, operation, &Row::operation);
  const bool known = row != std::end(rows);
  // The same answer for unknown operations: callers who are not the administrator do not learn which ones there are.
  if ((!known || row->whom == For::administrator) && !call.context.authority.administrator(call.caller))
    return with_status(host::err_not_permitted);
  const auto answer = !known ? nullptr : as_json ? row->document : row->answer;
  if (answer == nullptr) return with_status(host::err_unknown_opcode);
  if (payload.size() < row->shortest || payload.size() > row->longest) return with_status(host::err_bad_request);
  return answer(call, payload);
}

}  // namespace service
