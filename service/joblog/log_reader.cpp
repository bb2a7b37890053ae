// SPDX-License-Identifier: Apache-2.0
#include "service/joblog/log_reader.h"

#include <algorithm>

namespace service {
namespace {

LogRecord overwritten() {
  LogRecord record;
  record.job = record.schedule = record.user = "-";
  record.output = "[this record was overwritten while the log was shown]\n";
  record.output_gone = true;
  return record;
}

}  // namespace

LogReader::LogReader(std::shared_ptr<const LogVolume> volume, LogFilter filter, GoneOutcomes gone)
    : volume_(std::move(volume)),
      filter_(std::move(filter)),
      gone_(std::move(gone)),
      position_(index().find(filter_, index().first())),
      until_(index().end()),
      count_(index().count(filter_, index().first(), until_) + gone_.keys.size()) {
  if (filter_.last == 0) return;
  for (; count_ > filter_.last; count_--)
    pass_over();
}

void LogReader::pass_over() {
  if (gone_is_next())
    gone_given_++;
  else
    position_ = index().find(filter_, position_ + 1);
}

// The log's own lines are not outcomes and have no sequence number: they are given where they stand among the records.
bool LogReader::gone_is_next() const {
  if (gone_given_ == gone_.keys.size()) return false;
  if (position_ >= until_) return true;
  const uint64_t held = index().outcome(position_);
  return held != 0 && gone_.keys[gone_given_].sequence < held;
}

LogRecord LogReader::take_gone() {
  LogRecord record = gone_.fetch(gone_.keys[gone_given_++]);
  record.output += "[its output has made room for newer records]\n";
  record.output_gone = true;
  return record;
}

LogRecord LogReader::take_held() {
  const auto body = window_.body(volume_->file(), volume_->place(position_));
  const std::optional<LogRecordHead> head = body ? decode(*body, volume_->file().head().version) : std::nullopt;
  position_ = index().find(filter_, position_ + 1);
  return head ? record_of(*head) : overwritten();
}

std::optional<LogRecord> LogReader::next() {
  if (given_ == count_) return std::nullopt;
  given_++;
  if (position_ < index().first()) position_ = index().find(filter_, index().first());
  if (gone_is_next()) return take_gone();
  return position_ < until_ ? take_held() : overwritten();
}

}  // namespace service
