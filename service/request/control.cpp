// SPDX-License-Identifier: Apache-2.0
#include "service/request/control.h"

#include <syslog.h>

#include <algorithm>
#include <cstring>
#include <ctime>
#include <span>

#include "control/configuration.h"
#include "control/statuses.h"
#include "host/security/security.h"
#include "host/status.h"
#include "service/clock.h"
#include "service/request/answer.h"
#include "service/request/configuration.h"
#include "service/request/feature.h"
#include "service/request/logging_level.h"
#include "service/request/names.h"
#include "service/request/operation_row.h"
#include "service/request/overview.h"
#include "service/request/payload.h"
#include "service/request/raw_output.h"
#include "service/request/rename.h"
#include "service/request/run_orders.h"
#include "service/request/shown.h"
#include "service/run/runner.h"
#include "service/state/change.h"
#include "service/state/schedule_state.h"

namespace service {
namespace {

using control::Operation;

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
host::Answer limits_reply(const Call &call, Payload) {
  host::Bytes reply;
  append_record(&reply, configured_limits(*call.context.settings));
  return with_reply(std::move(reply));
}
host::Answer log_uri() {
  return with_text({sch_log_file.uri, strnlen(sch_log_file.uri, sizeof sch_log_file.uri)});
}
template <bool enable>
host::Answer set_feature(const Call &, Payload) {
  return with_status(set_feature(enable));
}
template <bool enable>
host::Answer set_schedule_enabled(const Call &call, Payload payload) {
  return set_schedule_enabled(call, payload, enable);
}

constexpr Row orders[] = {
    row(Operation::enable_feature, For::administrator, set_feature<true>),
    row(Operation::disable_feature, For::administrator, set_feature<false>),
    row(Operation::copy_running_startup, For::administrator, save_running),
    {Operation::set_logging_level, For::administrator, sizeof(int32_t), sizeof(int32_t), set_logging_level, nullptr},
    row(Operation::take_over, For::administrator, bare<nothing_to_take_over>),
    row(Operation::security_read, For::everybody, security<Operation::security_read>),
    row(Operation::security_store, For::everybody, security<Operation::security_store>),
    row(Operation::security_remove, For::everybody, security<Operation::security_remove>),
    row(Operation::security_authenticate, For::everybody, security<Operation::security_authenticate>),
    row(Operation::run_schedule, For::everybody, run_schedule),
    row(Operation::kill_run, For::everybody, kill_run),
    row(Operation::enable_schedule, For::everybody, set_schedule_enabled<true>),
    row(Operation::disable_schedule, For::everybody, set_schedule_enabled<false>),
    at_once({Operation::raw_output, For::everybody, sizeof(uint64_t), sizeof(uint64_t), raw_output, nullptr}),
    at_once({Operation::find, For::everybody, sizeof(control::ObjectKind), any_length, find_named, nullptr}),
    at_once({Operation::names, For::everybody, sizeof(control::ObjectKind), any_length, list_names, nullptr}),
    at_once(row(Operation::log_uri, For::everybody, bare<log_uri>)),
    {Operation::rename, For::everybody, sizeof(control::ObjectKind), any_length, rename_named, nullptr},
    at_once(row(Operation::explain_time, For::everybody, explain_time)),
    {Operation::put_configuration, For::everybody, sizeof(uint32_t), any_length, put_configuration, nullptr},
    {Operation::apply_configuration, For::everybody, sizeof(control::ConfigurationOrder), any_length,
     apply_configuration, nullptr},
    at_once({Operation::configuration_entry, For::everybody, sizeof(uint32_t), sizeof(uint32_t), show_configuration,
             nullptr}),
    row(Operation::confirm_configuration, For::everybody, confirm_configuration),
    row(Operation::erase_startup, For::administrator, erase_startup),
    at_once(row(Operation::limits, For::everybody, limits_reply)),
};

const Row *row_of(Operation operation) {
  for (const std::span<const Row> table : {std::span<const Row>(shown), std::span<const Row>(orders)}) {
    const auto found = std::ranges::find(table, operation, &Row::operation);
    if (found != table.end()) return &*found;
  }
  return nullptr;
}

bool is_shown(const Row &row) {
  return std::ranges::any_of(shown, [&](const Row &each) { return &each == &row; });
}

}  // namespace

bool only_reads(Payload request) {
  if (request.size() < sizeof(Operation)) return false;
  const auto operation = record_of<Operation>(request);
  if (operation == Operation::as_json) return only_reads(request.subspan(sizeof operation));
  const Row *row = row_of(operation);
  return row != nullptr && (row->when == When::at_once || is_shown(*row));
}

bool changes_something(Operation operation) {
  const bool of_runs = operation >= Operation::run_schedule && operation <= Operation::disable_schedule;
  const bool of_configuration = operation == Operation::put_configuration ||
                                operation == Operation::apply_configuration ||
                                operation == Operation::confirm_configuration || operation == Operation::rename;
  return of_runs || of_configuration || operation == Operation::security_store ||
         operation == Operation::security_remove;
}

host::Answer control(const Call &call, control::Operation operation, Payload payload) {
  const bool as_json = operation == Operation::as_json;
  if (as_json && payload.size() < sizeof operation) return with_status(host::err_bad_request);
  if (as_json) {
    operation = record_of<Operation>(payload);
    payload = payload.subspan(sizeof operation);
  }
  const Row *row = row_of(operation);
  const bool known = row != nullptr;
  // The same answer for unknown operations: callers who are not the administrator do not learn which ones there are.
  if ((!known || row->whom == For::administrator) && !call.context.authority.administrator(call.caller))
    return with_status(host::err_not_permitted);
  const auto answer = !known ? nullptr : as_json ? row->document : row->answer;
  if (answer == nullptr) return with_status(host::err_unknown_opcode);
  if (payload.size() < row->shortest || payload.size() > row->longest) return with_status(host::err_bad_request);
  return answer(call, payload);
}

}  // namespace service
