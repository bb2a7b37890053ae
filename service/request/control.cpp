// SPDX-License-Identifier: Apache-2.0
#include "service/request/control.h"

#include <syslog.h>

#include <algorithm>
#include <ctime>

#include "host/acfg.h"
#include "host/debug.h"
#include "host/security/security.h"
#include "host/status.h"
#include "host/store/store.h"
#include "service/calendar/service_zone.h"
#include "service/request/answer.h"
#include "service/request/logging_level.h"
#include "service/request/payload.h"
#include "service/request/run_orders.h"
#include "service/request/show_runs.h"
#include "service/request/show_upcoming.h"
#include "service/request/status.h"
#include "service/run/due.h"
#include "service/run/runner.h"
#include "service/state/change.h"
#include "service/state/schedule_state.h"

namespace service {
namespace {

using host::Control;

host::Answer text_reply(const std::string &text) {
  host::Bytes reply;
  append_text(&reply, text);
  return with_reply(std::move(reply));
}

// What was due while the feature was disabled is not made up for.
void arm_all(Change &change, time_t now) {
  for_each_schedule([&](sch_schedule_entry &entry) {
    if (state_of(*entry.rec).next_due == 0) return;
    change.modify(entry);
    arm(entry, now);
    change.save(entry);
  });
}

uint32_t set_feature(bool enable) {
  if ((scheduler_enabled != 0) == enable) return enable ? host::err_feature_enabled : host::err_feature_disabled;
  const sch_config_key key = {SCH_CONFIG_ENABLE, 0, {}};
  Change change;
  change.undo([before = scheduler_enabled] { scheduler_enabled = before; });
  scheduler_enabled = enable ? 1 : 0;
  change.require(sch_save_condition_entry_to_pss(pss_running, &key, scheduler_enabled));
  if (enable) arm_all(change, time(nullptr));
  return change.commit();
}

uint32_t copy_running_to_startup() {
  if (sch_pss_snapshot(sch_pss_running_uri, sch_pss_startup_uri) != 0) return host::err_not_stored;
  return sch_pss_snapshot(sch_debug_pss_running_uri, sch_debug_pss_startup_uri) == 0 ? 0 : host::err_not_stored;
}

host::Answer startup_text() {
  if (!host::store_exists(sch_pss_startup_uri)) return with_status(host::err_no_startup);
  return text_reply(host::configuration_text(host::ConfigType::startup));
}

uint32_t set_logging_level(Payload payload) {
  if (payload.size() != sizeof(int32_t)) return host::err_bad_request;
  const auto level = record_of<int32_t>(payload);
  if (level < LOG_EMERG || level > LOG_DEBUG) return host::err_bad_value;
  const uint32_t error = store_logging_level(debug_pss_running, level);
  if (error == 0) apply_logging_level();
  return error == 0 ? 0 : host::err_not_stored;
}

host::Answer get_logging_level() {
  host::Bytes reply;
  append_record(&reply, logging_level(debug_pss_running));
  return with_reply(std::move(reply));
}

host::Answer get_zone() {
  host::Bytes reply;
  append_record(&reply, service_zone().offset_at(time(nullptr)));
  append_text(&reply, service_zone().identifier());
  return with_reply(std::move(reply));
}

bool is_security(Control operation) {
  return operation >= Control::security_read && operation <= Control::security_authenticate;
}

// What is stored serves to configure, and only then.
bool may_store_password(const Call &call) {
  return call.context.authority.is_allowed(call.caller, call.context.settings->allow_groups,
                                           call.context.runner.processes().user_groups());
}

bool for_everybody(Control operation) {
  return operation == Control::get_logging_level || operation == Control::get_zone || operation == Control::status;
}

// Everybody's, each of their own.
bool is_of_runs(Control operation) {
  return operation >= Control::show_history && operation <= Control::disable_schedule;
}

host::Answer control_runs(const Call &call, Control operation, Payload payload) {
  switch (operation) {
    case Control::show_history:
      return show_history(call, payload);
    case Control::show_upcoming:
      return show_upcoming(call, payload);
    case Control::run_schedule:
      return run_schedule(call, payload);
    case Control::kill_run:
      return kill_run(call, payload);
    default:
      return set_schedule_enabled(call, payload, operation == Control::enable_schedule);
  }
}

}  // namespace

host::Answer control(const Call &call, Control operation, Payload payload) {
  if (operation == Control::security_store && !may_store_password(call)) return with_status(host::err_not_allowed);
  if (is_security(operation)) return host::security_control(operation, call.caller, payload);
  if (is_of_runs(operation)) return control_runs(call, operation, payload);
  if (!for_everybody(operation) && !call.context.authority.administrator(call.caller))
    return with_status(host::err_not_permitted);
  switch (operation) {
    case Control::enable_feature:
      return with_status(set_feature(true));
    case Control::disable_feature:
      return with_status(set_feature(false));
    case Control::memory_statistics:
      return text_reply(host::memory_statistics());
    case Control::history:
      return text_reply(host::history_text());
    case Control::running_text:
      return text_reply(host::configuration_text(host::ConfigType::running));
    case Control::startup_text:
      return startup_text();
    case Control::copy_running_startup:
      return with_status(copy_running_to_startup());
    case Control::set_logging_level:
      return with_status(set_logging_level(payload));
    case Control::get_logging_level:
      return get_logging_level();
    case Control::get_zone:
      return get_zone();
    case Control::status:
      return text_reply(status_text(call));
    default:
      return with_status(host::err_unknown_opcode);
  }
}

}  // namespace service
