// SPDX-License-Identifier: Apache-2.0
#include "service/joblog/joblog.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <ctime>

#include "host/files/directory.h"
#include "host/files/paths.h"
#include "host/files/whole_file.h"
#include "host/status.h"
#include "host/text_field.h"
#include "service/clock.h"
#include "service/limits.h"

namespace service {
namespace {

// Tells which file belongs to the settings: each new file has the next generation. It is stored with the settings, in a
// word that the library does not use.
uint32_t &generation_of(sch_log_file_rec &settings) {
  return settings.spare;
}

// One sync for several outcomes. What a crash loses until then is completed from the store.
constexpr unsigned sync_delay_ms = 300;

std::string draft_path(const std::string &path) {
  return path + ".next";
}

uint32_t usable_size(int32_t configured) {
  return std::clamp(static_cast<uint32_t>(std::max(configured, 0)), log_size_min, log_size_max);
}

void report(const std::string &what) {
  sch_syslog_raise(&syslog_msg_SCH_SYSLOG_FILE_ERR, "Job log", what.c_str());
}

void report_errno() {
  report(log_path(sch_log_file) + ": " + std::strerror(errno));
}

// A record without an owner, so only the administrator sees it.
LogRecord own_line(const std::string &text, uint32_t now) {
  LogRecord record;
  record.job = record.schedule = record.user = "-";
  record.completion = now;
  record.remark = text;
  return record;
}

}  // namespace

std::string log_path(const sch_log_file_rec &settings) {
  const std::string name(host::text_in(settings.name));
  return host::text_in(settings.uri) == SCH_LOG_URI_DEFAULT ? host::paths().state + "/" + name : name;
}

JobLog::~JobLog() {
  if (sync_later_.active()) sync();
}

uint64_t JobLog::newest_outcome() const {
  const uint64_t stored = outcomes_.newest ? outcomes_.newest() : 0;
  return volume_ ? std::max(stored, volume_->index().newest_outcome()) : stored;
}

host::Result<void> JobLog::put_aside(const std::string &path, const std::string &why) const {
  const std::string aside = path + ".damaged-" + std::to_string(wall_clock());
  report(why + "; it was put aside as " + aside);
  if (host::rename_file(path, aside)) return {};
  return host::Error{host::err_io, path + ": cannot be put aside: " + std::strerror(errno)};
}

// After a crash between storing new settings and renaming their file, that file still has its draft's name.
host::Result<void> JobLog::find_or_make() {
  const std::string path = log_path(sch_log_file), draft = draft_path(path);
  const auto found = LogVolume::open(path);
  if (found) volume_ = *found;
  if (found && volume_->file().head().generation == generation_of(sch_log_file)) return {};
  const auto next = LogVolume::open(draft);
  if (next && (*next)->file().head().generation == generation_of(sch_log_file) && host::rename_file(draft, path))
    volume_ = *next;
  if (volume_) return {};
  if (access(path.c_str(), F_OK) == 0)
    if (const auto aside = put_aside(path, found.error().text); !aside) return aside.error();
  if (const auto made = host::make_private_directory(host::parent_directory(path)); !made)
    return host::Error{host::err_io, made.error().text};
  const auto made =
      LogVolume::create(path, {usable_size(sch_log_file.size), generation_of(sch_log_file), newest_outcome(), 0});
  if (!made) return made.error();
  volume_ = *made;
  return {};
}

// Rewrites the log in the current version and the configured size, if it has another.
host::Result<void> JobLog::renew() {
  const RingFile::Head head = volume_->file().head();
  const bool old = head.version != RingFile::current_version;
  if (!old && head.size == usable_size(sch_log_file.size)) return {};
  const auto draft = prepare(sch_log_file, Keep::records);
  if (!draft && !old) return {};  // the file is usable as it is
  if (!draft)
    return host::Error{draft.code(), "the job log cannot be brought into its new form: " + draft.error().text};
  adopt(*draft);
  if (old) report(log_path(sch_log_file) + ": brought from version 1 into the present one, with its records");
  return {};
}

host::Result<void> JobLog::open(OutcomeSource outcomes) {
  outcomes_ = std::move(outcomes);
  if (auto found = find_or_make(); !found) return found;
  unlink(draft_path(log_path(sch_log_file)).c_str());
  generation_of(sch_log_file) = volume_->file().head().generation;
  if (auto renewed = renew(); !renewed) return renewed;
  complete();
  return {};
}

void JobLog::complete() {
  if (!outcomes_.walk_after) return;
  outcomes_.walk_after(volume_->index().newest_outcome(), [this](const LogRecord &missing) {
    LogRecord record = missing;
    record.output += "[its output was lost: the service ended before it was written]\n";
    record.output_total = record.output.size();
    add(record);
  });
}

bool JobLog::lacks_some() const {
  return volume_->index().first_outcome_not_held(shown_after()) <= newest_outcome();
}

// Writes to a removed file succeed, so nothing else tells the service that nobody can read them.
void JobLog::begin_anew(const char *why, uint32_t now) {
  const std::string path = log_path(sch_log_file);
  const std::string line = std::string("the log's file was ") + why + "; this one was begun anew";
  report(path + ": " + line);
  if (std::strcmp(why, "replaced") == 0 && !put_aside(path, path + ": not the service's")) return;
  const RingFile::Head head = volume_->file().head();
  const uint64_t begun_at = volume_->index().newest_outcome();
  const auto made = LogVolume::create(path, {head.size, head.generation, begun_at, head.cleared_at});
  if (!made) return report(made.error().text);
  volume_ = *made;
  add(own_line(line, now));
}

void JobLog::add(const LogRecord &record) {
  if (!volume_->append(record)) report_errno();
  if (!sync_later_.active()) sync_later_ = host::Watch::after_ms(sync_delay_ms, [this] { sync(); });
}

void JobLog::append(const LogRecord &record) {
  if (const char *why = volume_->loss(log_path(sch_log_file))) begin_anew(why, record.completion);
  add(record);
}

void JobLog::sync() {
  sync_later_.stop();
  if (!volume_->sync()) report_errno();
}

host::Result<JobLog::Draft> JobLog::prepare(const sch_log_file_rec &wanted, Keep keep) const {
  const std::string path = log_path(wanted);
  if (const auto made = host::make_private_directory(host::parent_directory(path)); !made)
    return host::Error{host::err_io, made.error().text};
  RingFile::Head head = volume_->file().head();
  head.size = usable_size(wanted.size);
  head.generation++;
  if (keep == Keep::nothing) head.begun_at = head.cleared_at = newest_outcome();
  const auto made = LogVolume::create(draft_path(path), head);
  if (!made) return made.error();
  LogVolume &volume = **made;
  if (keep == Keep::records) volume.take_newest_of(*volume_);
  if (!volume.sync()) {
    const host::Error failure = {host::err_io, path + ": " + std::strerror(errno)};
    unlink(draft_path(path).c_str());
    return failure;
  }
  Draft draft = {*made, path, wanted};
  generation_of(draft.settings) = head.generation;
  draft.settings.read_offset = volume.file().read_offset();
  draft.settings.write_offset = volume.file().write_offset();
  draft.settings.entry_count = static_cast<uint32_t>(volume.index().size());
  return draft;
}

void JobLog::discard(const Draft &draft) const {
  unlink(draft_path(draft.path).c_str());
}

void JobLog::adopt(const Draft &draft) {
  const std::string before = log_path(sch_log_file);
  if (!host::rename_file(draft_path(draft.path), draft.path)) report(draft.path + ": " + std::strerror(errno));
  sch_log_file = draft.settings;
  volume_ = draft.volume;
  if (before != draft.path) unlink(before.c_str());
}

}  // namespace service
