// SPDX-License-Identifier: Apache-2.0
#include "service/request/status.h"

#include <sys/stat.h>

#include <map>
#include <optional>

#include "host/files/paths.h"
#include "host/security/security.h"
#include "host/store/store.h"
#include "host/visible.h"
#include "service/calendar/service_zone.h"
#include "service/configuration/pending.h"
#include "service/mail/courier.h"
#include "service/request/answer.h"
#include "service/request/shown.h"
#include "service/run/run_record.h"
#include "service/run/runner.h"
#include "service/state/tables.h"

namespace service {
namespace {

class Lines {
 public:
  void add(const std::string &key, const std::string &value) { text_ += key + ": " + value + "\n"; }
  void add(const std::string &key, size_t value) { add(key, std::to_string(value)); }
  std::string text() { return std::move(text_); }

 private:
  std::string text_;
};

std::string user_name(uint32_t tag) {
  if (tag == 0) return "nobody";
  const std::optional<host::User> user = host::user_by_uid(tag - 1);
  return user ? user->name : "user number " + std::to_string(tag - 1);
}

// Includes users whose schedules were deleted while their runs go on.
std::map<uint32_t, Share> shares_of_runs(const Runner &runner) {
  std::map<uint32_t, Share> shares;
  for (const Runner::UnderWay &run : runner.list())
    (run.waits ? shares[run.owner_tag].waiting : shares[run.owner_tag].runs)++;
  return shares;
}

std::map<uint32_t, Share> every_share(const Runner &runner) {
  std::map<uint32_t, Share> shares = shares_of_runs(runner);
  for (const uint32_t tag : owner_tags()) {
    shares[tag].schedules = schedule_count(tag);
    shares[tag].jobs = job_count(tag);
  }
  return shares;
}

std::optional<NextDue> due_of(const sch_schedule_entry *entry) {
  return entry == nullptr ? std::nullopt : std::optional(NextDue{next_due(*entry), name_of(*entry->key)});
}

StoreSize store_size(const char *name, const char *uri) {
  struct stat found {};
  if (stat(host::store_path(uri).c_str(), &found) != 0) return {name, std::nullopt};
  return {name, static_cast<uint64_t>(found.st_size)};
}

WholeStatus directory_and_stores() {
  WholeStatus whole;
  whole.state_directory = host::paths().state;
  whole.stores = {store_size("running store", sch_pss_running_uri),
                  store_size("run state store", sch_pss_running_db_uri),
                  store_size("startup store", sch_pss_startup_uri)};
  return whole;
}

WholeStatus whole_status(const Context &context) {
  WholeStatus whole = directory_and_stores();
  whole.schedules = schedule_count();
  whole.runs = context.runner.begun();
  whole.waiting = context.runner.waiting();
  if (context.courier != nullptr) whole.mail = context.courier->waiting();
  whole.log_size = static_cast<uint64_t>(sch_log_file.size);
  return whole;
}

ServiceStatus service_status(bool active, const Settings &settings, time_t started) {
  ServiceStatus status;
  status.active = active;
  status.started = started;
  status.settings_file = settings.file;
  status.zone = service_zone().identifier();
  status.enabled = active && scheduler_enabled != 0;
  status.boot_from = settings.boot_from;
  return status;
}

std::optional<AwaitedConfirmation> awaited_confirmation(const Context &context) {
  if (context.pending_configuration == nullptr) return std::nullopt;
  const std::optional<Confirmation::Awaited> awaited = context.pending_configuration->confirmation.awaited();
  if (!awaited) return std::nullopt;
  return AwaitedConfirmation{awaited->deadline, awaited->who};
}

void add_service(Lines *lines, const ServiceStatus &status) {
  lines->add("version", SCHEDCLI_VERSION);
  lines->add("mode", status.active ? "active" : "standby");
  lines->add("started", time_text(status.started));
  lines->add("settings", status.settings_file.empty() ? "none, the defaults are used" : status.settings_file);
  lines->add("zone", status.zone);
  if (status.active) lines->add("enabled", status.enabled ? "yes" : "no");
  lines->add("boot from", status.boot_from == BootFrom::startup ? "startup" : "running");
}

void add_count(Lines *lines, const char *what, const std::optional<size_t> &count) {
  if (count) lines->add(what, *count);
}

// The lines that belong to no single user.
void add_whole(Lines *lines, const WholeStatus &whole) {
  lines->add("state directory", whole.state_directory);
  add_count(lines, "schedules", whole.schedules);
  add_count(lines, "runs under way", whole.runs);
  add_count(lines, "runs waiting", whole.waiting);
  add_count(lines, "mail waiting", whole.mail);
  for (const StoreSize &store : whole.stores)
    lines->add(store.name, store.size ? std::to_string(*store.size) + " bytes" : "none");
  if (whole.log_size) lines->add("job log", std::to_string(*whole.log_size) + " bytes");
}

void add_share(Lines *lines, const UserShare &user) {
  const Share &share = user.share;
  lines->add("share of " + user.user, "schedules " + std::to_string(share.schedules) + ", jobs " +
                                          std::to_string(share.jobs) + ", runs " + std::to_string(share.runs) +
                                          ", waiting " + std::to_string(share.waiting));
}

std::string text_of(const ServiceStatus &status) {
  Lines lines;
  add_service(&lines, status);
  if (status.whole) add_whole(&lines, *status.whole);
  if (status.active)
    lines.add("next due",
              status.next_due ? time_text(status.next_due->due) + ", schedule " + status.next_due->schedule : "none");
  if (status.confirmation)
    lines.add("rolled back unless confirmed",
              time_text(status.confirmation->deadline) + ", changed by " + host::visible(status.confirmation->who));
  for (const UserShare &share : status.shares)
    add_share(&lines, share);
  return lines.text();
}

}  // namespace

ServiceStatus status_of(const Call &call) {
  ServiceStatus status = service_status(true, *call.context.settings, call.context.started);
  status.confirmation = awaited_confirmation(call.context);
  if (!call.context.authority.administrator(call.caller)) {
    const uint32_t tag = owner_tag(call.caller.uid);
    const Share runs = shares_of_runs(call.context.runner)[tag];
    status.next_due = due_of(first_due(tag));
    status.shares = {{user_name(tag), {schedule_count(tag), job_count(tag), runs.runs, runs.waiting}}};
    return status;
  }
  status.whole = whole_status(call.context);
  status.next_due = due_of(first_due());
  for (const auto &[tag, share] : every_share(call.context.runner))
    status.shares.push_back({user_name(tag), share});
  return status;
}

ServiceStatus standby_status(const Settings &settings, time_t started, bool administrator) {
  ServiceStatus status = service_status(false, settings, started);
  if (administrator) status.whole = directory_and_stores();
  return status;
}

host::Answer show_status(const Call &call, Payload) {
  return with_text(text_of(status_of(call)));
}

host::Answer show_standby_status(const Settings &settings, time_t started, bool administrator) {
  return with_text(text_of(standby_status(settings, started, administrator)));
}

}  // namespace service
