// SPDX-License-Identifier: Apache-2.0
// Reads the log for one client, one outcome at a time in the order of time: the records of the file, and for outcomes
// whose record was overwritten what the store still has of them.
#pragma once

#include <memory>
#include <optional>

#include "service/joblog/log_volume.h"
#include "service/joblog/outcome_source.h"
#include "service/joblog/record_window.h"

namespace service {

class LogReader {
 public:
  LogReader(std::shared_ptr<const LogVolume> volume, LogFilter filter, GoneOutcomes gone);

  // The number of outcomes when the reader was created. next() returns as many, even if records are overwritten
  // meanwhile.
  size_t count() const { return count_; }
  std::optional<LogRecord> next();

  size_t bytes_read() const { return window_.bytes_read(); }

 private:
  const LogIndex &index() const { return volume_->index(); }
  bool gone_is_next() const;
  void pass_over();
  LogRecord take_gone();
  LogRecord take_held();

  std::shared_ptr<const LogVolume> volume_;
  LogFilter filter_;
  GoneOutcomes gone_;
  RecordWindow window_;
  LogIndex::Position position_, until_;
  size_t gone_given_ = 0;
  size_t count_ = 0, given_ = 0;
};

}  // namespace service
