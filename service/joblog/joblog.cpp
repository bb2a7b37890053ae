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
#include "service/limits.h"

namespace service {
namespace {

struct StoredHead {
  uint32_t owner_tag;
  char job[32], schedule[32], user[40];
  uint32_t wait_status, completion;
};
static_assert(sizeof(StoredHead) == 116);

template <size_t size>
void put(char (&field)[size], const std::string &text) {
  text.copy(field, size - 1);
}

template <size_t size>
std::string get(const char (&field)[size]) {
  return {field, strnlen(field, size)};
}

std::string in_brackets(const std::string &line) {
  return line.empty() ? "" : "[" + line + "]\n";
}

std::string output_that_fits(const LogRecord &record, size_t room) {
  const uint64_t total = std::max<uint64_t>(record.output_total, record.output.size());
  const std::string remark = in_brackets(record.remark);
  const bool broken_line = !remark.empty() && !record.output.empty() && record.output.back() != '\n';
  if (record.output.size() == total && total + broken_line + remark.size() <= room)
    return record.output + (broken_line ? "\n" : "") + remark;
  std::string note = "\n";
  note += in_brackets("the output of " + std::to_string(total) + " bytes was cut here");
  note += remark;
  note.resize(std::min(note.size(), room));
  return record.output.substr(0, room - note.size()) + note;
}

RingFile::Body encode(const LogRecord &record, size_t largest) {
  StoredHead head = {};
  head.owner_tag = record.owner_tag;
  put(head.job, record.job);
  put(head.schedule, record.schedule);
  put(head.user, record.user);
  head.wait_status = record.wait_status;
  head.completion = record.completion;
  const std::string output = output_that_fits(record, largest - sizeof head);
  RingFile::Body body(sizeof head + output.size());
  std::memcpy(body.data(), &head, sizeof head);
  std::memcpy(body.data() + sizeof head, output.data(), output.size());
  return body;
}

bool decode(const RingFile::Body &body, LogRecord *record) {
  StoredHead head;
  if (body.size() < sizeof head) return false;
  std::memcpy(&head, body.data(), sizeof head);
  const std::string output(reinterpret_cast<const char *>(body.data()) + sizeof head, body.size() - sizeof head);
  *record = {get(head.job),  get(head.schedule), get(head.user),
             head.owner_tag, head.wait_status,   head.completion,
             output,         output.size(),      ""};
  return true;
}

std::string draft_path(const std::string &path) {
  return path + ".next";
}

uint32_t usable_size(int32_t configured) {
  return std::clamp(static_cast<uint32_t>(std::max(configured, 0)), log_size_min, log_size_max);
}

void report(const std::string &what) {
  sch_syslog_raise(&syslog_msg_SCH_SYSLOG_FILE_ERR, "Job log", what.c_str());
}

// The newest records that fit, in their order.
void copy_newest(const RingFile &from, RingFile &to) {
  for (const RingFile::Place &place : from.places()) {
    const std::optional<RingFile::Body> body = from.read(place);
    LogRecord record;
    if (!body || !decode(*body, &record)) continue;
    to.append(encode(record, to.largest_body()), false);
  }
}

}  // namespace

std::string log_path(const sch_log_file_rec &settings) {
  const std::string name = get(settings.name);
  return get(settings.uri) == SCH_LOG_URI_DEFAULT ? host::paths().state + "/" + name : name;
}

// A crash between storing new settings and putting the file in place leaves the file of these settings beside.
bool JobLog::open_or_recover(std::string *error) {
  const std::string path = log_path(sch_log_file), draft = draft_path(path);
  std::string ignored;
  file_ = RingFile::open(path, error);
  if (file_ && file_->generation() == sch_log_file.spare) return true;
  const std::shared_ptr<RingFile> next = RingFile::open(draft, &ignored);
  if (next && next->generation() == sch_log_file.spare && host::rename_file(draft, path)) file_ = next;
  if (file_) return true;
  if (access(path.c_str(), F_OK) == 0) {
    const std::string aside = path + ".damaged-" + std::to_string(time(nullptr));
    report(*error + "; it was put aside as " + aside);
    if (!host::rename_file(path, aside)) return false;
  }
  if (!host::make_private_directory(host::parent_directory(path), error)) return false;
  file_ = RingFile::create(path, usable_size(sch_log_file.size), sch_log_file.spare, error);
  return file_ != nullptr;
}

bool JobLog::open(std::string *error) {
  if (!open_or_recover(error)) return false;
  unlink(draft_path(log_path(sch_log_file)).c_str());
  sch_log_file.spare = file_->generation();
  Draft draft;
  if (file_->size() != usable_size(sch_log_file.size) && prepare(sch_log_file, true, &draft, error)) adopt(draft);
  note_place();
  return true;
}

void JobLog::note_place() {
  sch_log_file.read_offset = file_->read_offset();
  sch_log_file.write_offset = file_->write_offset();
  sch_log_file.entry_count = static_cast<uint32_t>(file_->places().size());
}

void JobLog::write(const LogRecord &record, bool durable) {
  if (!file_->append(encode(record, file_->largest_body()), durable))
    report(log_path(sch_log_file) + ": " + std::strerror(errno));
  note_place();
}

void JobLog::append(const LogRecord &record) {
  write(record, true);
}
void JobLog::append_unsynced(const LogRecord &record) {
  write(record, false);
}

void JobLog::sync() {
  if (!file_->sync()) report(log_path(sch_log_file) + ": " + std::strerror(errno));
}

bool JobLog::prepare(const sch_log_file_rec &wanted, bool keep_records, Draft *draft, std::string *error) const {
  const std::string path = log_path(wanted);
  if (!host::make_private_directory(host::parent_directory(path), error)) return false;
  const uint32_t generation = file_->generation() + 1;
  draft->file = RingFile::create(draft_path(path), usable_size(wanted.size), generation, error);
  if (!draft->file) return false;
  if (keep_records) copy_newest(*file_, *draft->file);
  if (!draft->file->sync()) {
    *error = path + ": " + std::strerror(errno);
    unlink(draft_path(path).c_str());
    return false;
  }
  draft->path = path;
  draft->settings = wanted;
  draft->settings.spare = generation;
  draft->settings.read_offset = draft->file->read_offset();
  draft->settings.write_offset = draft->file->write_offset();
  draft->settings.entry_count = static_cast<uint32_t>(draft->file->places().size());
  return true;
}

void JobLog::discard(const Draft &draft) const {
  unlink(draft_path(draft.path).c_str());
}

void JobLog::adopt(const Draft &draft) {
  const std::string before = log_path(sch_log_file);
  if (!host::rename_file(draft_path(draft.path), draft.path)) report(draft.path + ": " + std::strerror(errno));
  sch_log_file = draft.settings;
  file_ = draft.file;
  if (before != draft.path) unlink(before.c_str());
}

JobLog::Selection JobLog::select(const Wanted &wanted) const {
  Selection selection = {file_, {}};
  for (const RingFile::Place &place : file_->places()) {
    const std::optional<RingFile::Body> body = file_->read(place);
    LogRecord record;
    if (body && decode(*body, &record) && wanted(record)) selection.places.push_back(place);
  }
  return selection;
}

bool JobLog::read(const Selection &selection, size_t index, LogRecord *record) {
  const std::optional<RingFile::Body> body = selection.file->read(selection.places[index]);
  return body && decode(*body, record);
}

}  // namespace service
