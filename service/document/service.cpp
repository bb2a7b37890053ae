// SPDX-License-Identifier: Apache-2.0
// What is shown of the service itself.
#include <array>

#include "host/debug.h"
#include "host/memory.h"
#include "schedcli.h"
#include "service/calendar/service_zone.h"
#include "service/clock.h"
#include "service/document/answer.h"
#include "service/request/answer.h"
#include "service/request/logging_level.h"
#include "service/request/shown.h"
#include "service/request/status.h"

namespace service {
namespace {

using control::json_moment;
using control::json_number;
using control::json_text;

void add_count(Json *object, const char *name, const std::optional<size_t> &count) {
  if (count) (*object)[name] = *count;
}

void add_whole(Json *object, const WholeStatus &whole) {
  (*object)["state-directory"] = json_text(whole.state_directory);
  add_count(object, "schedules", whole.schedules);
  add_count(object, "runs-under-way", whole.runs);
  add_count(object, "runs-waiting", whole.waiting);
  add_count(object, "mail-waiting", whole.mail);
  for (const StoreSize &store : whole.stores)
    if (store.size) (*object)["store"].push_back({{"name", store.name}, {"size", json_number(*store.size)}});
  if (whole.log_size) (*object)["log-size"] = json_number(*whole.log_size);
}

Json share_of(const UserShare &user) {
  return {{"user", json_text(user.user)},
          {"schedules", user.share.schedules},
          {"jobs", user.share.jobs},
          {"runs-under-way", user.share.runs},
          {"runs-waiting", user.share.waiting}};
}

Json content_of(const ServiceStatus &status) {
  Json content = {{"version", SCHEDCLI_VERSION},
                  {"mode", status.active ? "active" : "standby"},
                  {"started", json_moment(status.started)},
                  {"zone", json_text(status.zone)},
                  {"boot-from", status.boot_from == BootFrom::startup ? "startup" : "running"}};
  if (!status.settings_file.empty()) content["settings-file"] = json_text(status.settings_file);
  if (status.active) content["enabled"] = status.enabled;
  if (status.whole) add_whole(&content, *status.whole);
  if (status.next_due)
    content["next-due"] = {{"time", json_moment(status.next_due->due)}, {"schedule", status.next_due->schedule}};
  if (status.confirmation)
    content["confirmation"] = {{"deadline", json_moment(status.confirmation->deadline)},
                               {"user", json_text(status.confirmation->who)}};
  for (const UserShare &share : status.shares)
    content["share"].push_back(share_of(share));
  return content;
}

}  // namespace

host::Answer status_document(const Call &call, Payload) {
  return document("status", content_of(status_of(call)));
}

host::Answer standby_status_document(const Settings &settings, time_t started, bool administrator) {
  return document("status", content_of(standby_status(settings, started, administrator)));
}

host::Answer version_document(const Call &, Payload) {
  return document("version", {{"service", SCHEDCLI_VERSION}});
}

host::Answer zone_in_use() {
  host::Bytes reply;
  append_record(&reply, service_zone().offset_at(wall_clock()));
  append_text(&reply, service_zone().identifier());
  return with_reply(std::move(reply));
}

host::Answer clock_document(const Call &, Payload) {
  return document("clock", {{"time", json_moment(wall_clock())}, {"zone", json_text(service_zone().identifier())}});
}

host::Answer logging_level_in_use() {
  host::Bytes reply;
  append_record(&reply, logging_level(debug_pss_running));
  return with_reply(std::move(reply));
}

host::Answer logging_document(const Call &, Payload) {
  constexpr std::array levels = {"emergencies", "alerts",        "critical",      "errors",
                                 "warnings",    "notifications", "informational", "debugging"};
  return document("logging", {{"level", levels.at(static_cast<size_t>(logging_level(debug_pss_running)))}});
}

host::Answer show_memory() {
  return with_text(host::memory_statistics());
}

host::Answer memory_document(const Call &, Payload) {
  const host::MemoryUses uses = host::memory_uses();
  Json types = Json::array();
  for (const host::MemoryUse &use : uses.types)
    types.push_back({{"owner", use.owner},
                     {"number", use.type},
                     {"what", use.what},
                     {"blocks", json_number(use.live_blocks)},
                     {"bytes", json_number(use.live_bytes)},
                     {"peak-bytes", json_number(use.peak_bytes)},
                     {"allocations", json_number(use.allocations)},
                     {"failed", json_number(use.failures)}});
  return document("memory", {{"misuses", json_number(uses.misuses)}, {"type", types}});
}

host::Answer show_debug_history() {
  return with_text(host::history_text());
}

host::Answer debug_history_document(const Call &, Payload) {
  Json events = Json::array();
  for (const host::DebugEvent &event : host::history_events())
    events.push_back(control::json_event(event));
  return document("debug-history", {{"service", events}});
}

}  // namespace service
