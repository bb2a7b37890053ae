// SPDX-License-Identifier: Apache-2.0
#include "service/configuration/confirmation.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <limits>

#include "control/statuses.h"
#include "host/files/directory.h"
#include "host/files/private_file.h"
#include "host/files/whole_file.h"
#include "host/security/security.h"
#include "service/clock.h"
#include "service/configuration/apply.h"
#include "service/configuration/in_use.h"
#include "service/configuration/target.h"

namespace service {
namespace {

constexpr time_t look_again_s = 20;  // not one long wait: the wall clock may be set, and an attempt may fail

std::string note_path() {
  return configuration_directory() + "/awaits-confirmation";
}

// The earlier configuration is restored even if it exceeds limits that were lowered since.
Settings without_limits() {
  Settings settings;
  settings.max_jobs_per_user = settings.max_schedules = settings.max_schedules_per_user = settings.job_text_bytes =
      std::numeric_limits<int>::max();
  return settings;
}

}  // namespace

// A crash may have come before the change that was to be confirmed.
void Confirmation::start() {
  const std::optional<Awaited> found = awaited();
  if (found && found->after != 0 && !is_kept(found->after))
    (void)forget();
  else
    look(wall_clock());
}

host::Result<void> Confirmation::await(const Awaited &awaited) {
  const std::string text = std::to_string(awaited.entry) + " " + std::to_string(awaited.deadline) + " " +
                           std::to_string(awaited.owner_tag) + " " + awaited.who + " " + std::to_string(awaited.after) +
                           "\n";
  if (host::Result<void> written = host::write_whole_file(note_path(), text); !written) return written;
  withdrawn_ = 0;
  const time_t wait = std::clamp<time_t>(awaited.deadline - wall_clock(), 0, look_again_s);
  again_ = host::Watch::after_ms(static_cast<unsigned>(wait) * 1000, [this] { look(wall_clock()); });
  return {};
}

host::Result<void> Confirmation::forget() {
  const auto not_stored = [] {
    return host::Error{control::err_not_stored, note_path() + ": cannot remove the file: " + std::strerror(errno)};
  };
  if (unlink(note_path().c_str()) != 0 && errno != ENOENT) return not_stored();
  again_.stop();
  if (!host::sync_directory(configuration_directory())) return not_stored();
  return {};
}

// What cannot be removed now is removed by the next start, as the changed configuration is not kept.
void Confirmation::withdraw() {
  const std::optional<Awaited> found = awaited();
  again_.stop();
  if (found && !forget()) withdrawn_ = found->after;
}

std::optional<Confirmation::Awaited> Confirmation::awaited() const {
  std::ifstream file(note_path());
  Awaited awaited;
  if (!(file >> awaited.entry >> awaited.deadline >> awaited.owner_tag >> awaited.who)) return std::nullopt;
  if (!(file >> awaited.after)) awaited.after = 0;  // written by an older version
  if (awaited.after != 0 && awaited.after == withdrawn_) return std::nullopt;
  return awaited;
}

void Confirmation::look(time_t now) {
  again_.stop();
  const std::optional<Awaited> found = awaited();
  if (found && found->deadline <= now) take_back(*found);
  // A file that is there and cannot be read now may be so the next time.
  if (!awaited() && (withdrawn_ != 0 || access(note_path().c_str(), F_OK) != 0)) return;
  const time_t wait = found ? std::clamp<time_t>(found->deadline - now, 1, look_again_s) : look_again_s;
  again_ = host::Watch::after_ms(static_cast<unsigned>(wait) * 1000, [this] { look(wall_clock()); });
}

void Confirmation::take_back(const Awaited &awaited) {
  const auto tell = [](const std::string &text) { sch_syslog_raise(&syslog_msg_SCH_ERR, text.c_str()); };
  const host::Result<Configuration> before = configuration_of_entry(awaited.entry);
  if (!before && is_kept(awaited.entry))
    return tell("an unconfirmed configuration is not taken back yet: configuration " + std::to_string(awaited.entry) +
                " cannot be read");
  if (!before) {
    tell("an unconfirmed configuration stays: configuration " + std::to_string(awaited.entry) + " is not kept");
    return forget_or_tell();
  }
  const std::optional<uint32_t> part = awaited.owner_tag == 0 ? std::nullopt : std::optional(awaited.owner_tag);
  const Operator who = {{awaited.owner_tag, awaited.who}, !part};
  Target target = target_of(configuration_in_use(), part_of(*before, part), Scope::replace, who, without_limits());
  const Origin origin = {wall_clock(), awaited.who, "the service", "not confirmed in time"};
  const host::Result<Applied> applied =
      apply_configuration(context_, target.whole, origin, [](const HistoryDraft &) { return host::Result<void>(); });
  if (!applied) return tell("an unconfirmed configuration is not taken back yet: " + applied.error().text);
  tell("the configuration of " + awaited.who +
       " was not confirmed in time and was taken back; what was in use is kept as configuration " +
       std::to_string(applied->history.before));
  forget_or_tell();
}

void Confirmation::forget_or_tell() {
  if (const host::Result<void> forgotten = forget(); !forgotten)
    sch_syslog_raise(&syslog_msg_SCH_ERR, forgotten.error().text.c_str());
}

}  // namespace service
