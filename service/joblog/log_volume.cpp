// SPDX-License-Identifier: Apache-2.0
#include "service/joblog/log_volume.h"

#include "service/joblog/record_window.h"

namespace service {

LogVolume::LogVolume(std::shared_ptr<RingFile> file) : file_(std::move(file)), index_(file_->head().begun_at) {
  RecordWindow window;
  for (const RingFile::Place &place : file_->places()) {
    const auto body = window.body(*file_, place);
    const std::optional<LogRecordHead> head = body ? decode(*body, file_->head().version) : std::nullopt;
    index_.push_back(head.value_or(LogRecordHead{}));  // unreadable records too: the index has an entry for each place
  }
}

host::Result<std::shared_ptr<LogVolume>> LogVolume::create(const std::string &path, const RingFile::Head &head) {
  const auto file = RingFile::create(path, head);
  if (!file) return file.error();
  return std::shared_ptr<LogVolume>(new LogVolume(*file));
}

host::Result<std::shared_ptr<LogVolume>> LogVolume::open(const std::string &path) {
  const auto file = RingFile::open(path);
  if (!file) return file.error();
  return std::shared_ptr<LogVolume>(new LogVolume(*file));
}

bool LogVolume::append_body(std::span<const std::byte> body) {
  const bool added = file_->append(body);
  while (index_.size() + (added ? 1 : 0) > file_->places().size())
    index_.pop_front();
  if (added) index_.push_back(*decode(body, RingFile::current_version));
  return added;
}

bool LogVolume::append(const LogRecord &record) {
  return append_body(encode(record, std::max(record.outcome, index_.newest_outcome()), file_->largest_body()));
}

void LogVolume::take_newest_of(const LogVolume &other) {
  RecordWindow window;
  for (const RingFile::Place &place : other.file_->places()) {
    const auto body = window.body(*other.file_, place);
    const uint32_t version = other.file_->head().version;
    const std::optional<LogRecordHead> head = body ? decode(*body, version) : std::nullopt;
    if (!head) continue;
    if (version == RingFile::current_version && body->size() <= file_->largest_body())
      append_body(*body);
    else
      append(record_of(*head));
  }
}

}  // namespace service
