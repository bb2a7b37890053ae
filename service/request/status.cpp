// SPDX-License-Identifier: Apache-2.0
#include "service/request/status.h"

#include <sys/stat.h>

#include <map>
#include <optional>

#include "host/files/paths.h"
#include "host/security/security.h"
#include "host/store/store.h"
#include "service/calendar/service_zone.h"
#include "service/mail/courier.h"
#include "service/run/run_record.h"
#include "service/run/runner.h"
#include "service/state/tables.h"

namespace service {
namespace {

struct Share {
  size_t schedules = 0, jobs = 0, runs = 0, waiting = 0;
};

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
  for_each_schedule([&](const sch_schedule_entry &entry) { shares[owner_of(entry)].schedules++; });
  for_each_job([&](const sch_job_entry &slot, uint32_t) { shares[owner_of(slot)].jobs++; });
  return shares;
}

void add_share(Lines *lines, uint32_t tag, const Share &share) {
  lines->add("share of " + user_name(tag), "schedules " + std::to_string(share.schedules) + ", jobs " +
                                               std::to_string(share.jobs) + ", runs " + std::to_string(share.runs) +
                                               ", waiting " + std::to_string(share.waiting));
}

std::string due_text(const sch_schedule_entry *entry) {
  if (entry == nullptr) return "none";
  return time_text(next_due(*entry)) + ", schedule " + name_of(*entry->key);
}

const sch_schedule_entry *first_due() {
  const uint32_t due = earliest_due();
  const std::vector<sch_schedule_entry *> entries = due != 0 ? schedules_due(due) : std::vector<sch_schedule_entry *>();
  return entries.empty() ? nullptr : entries.front();
}

const sch_schedule_entry *first_due(uint32_t tag) {
  const sch_schedule_entry *first = nullptr;
  for (const sch_schedule_entry *entry = schedule_after(-1, tag); entry != nullptr;
       entry = schedule_after(schedule_number(*entry->rec), tag)) {
    const uint32_t due = next_due(*entry);
    if (due != 0 && (first == nullptr || due < state_of(*first->rec).next_due)) first = entry;
  }
  return first;
}

void add_store(Lines *lines, const char *what, const char *uri) {
  struct stat found {};
  if (stat(host::store_path(uri).c_str(), &found) == 0)
    lines->add(what, std::to_string(found.st_size) + " bytes");
  else
    lines->add(what, "none");
}

enum class Mode { active, standby };

void add_service(Lines *lines, Mode mode, const Settings &settings, time_t started) {
  lines->add("version", SCHEDCLI_VERSION);
  lines->add("mode", mode == Mode::active ? "active" : "standby");
  lines->add("started", time_text(started));
  lines->add("settings", settings.file.empty() ? "none, the defaults are used" : settings.file);
  lines->add("zone", service_zone().identifier());
  if (mode == Mode::active) lines->add("enabled", scheduler_enabled != 0 ? "yes" : "no");
  lines->add("boot from", settings.boot_from == BootFrom::startup ? "startup" : "running");
}

void add_stores(Lines *lines) {
  add_store(lines, "running store", sch_pss_running_uri);
  add_store(lines, "run state store", sch_pss_running_db_uri);
  add_store(lines, "startup store", sch_pss_startup_uri);
}

// The lines that belong to no single user.
void add_whole(Lines *lines, const Context &context) {
  lines->add("state directory", host::paths().state);
  lines->add("schedules", schedule_count());
  lines->add("runs under way", context.runner.begun());
  lines->add("runs waiting", context.runner.waiting());
  if (context.courier != nullptr) lines->add("mail waiting", context.courier->waiting());
  add_stores(lines);
  lines->add("job log", std::to_string(sch_log_file.size) + " bytes");
}

}  // namespace

std::string status_text(const Call &call) {
  Lines lines;
  add_service(&lines, Mode::active, *call.context.settings, call.context.started);
  if (!call.context.authority.administrator(call.caller)) {
    const uint32_t tag = owner_tag(call.caller.uid);
    lines.add("next due", due_text(first_due(tag)));
    const Share runs = shares_of_runs(call.context.runner)[tag];
    add_share(&lines, tag, {schedule_count(tag), job_count(tag), runs.runs, runs.waiting});
    return lines.text();
  }
  add_whole(&lines, call.context);
  lines.add("next due", due_text(first_due()));
  for (const auto &[tag, share] : every_share(call.context.runner))
    add_share(&lines, tag, share);
  return lines.text();
}

std::string standby_status_text(const Settings &settings, time_t started, bool administrator) {
  Lines lines;
  add_service(&lines, Mode::standby, settings, started);
  if (administrator) {
    lines.add("state directory", host::paths().state);
    add_stores(&lines);
  }
  return lines.text();
}

}  // namespace service
