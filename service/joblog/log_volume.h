// SPDX-License-Identifier: Apache-2.0
// The log's file together with its index. Readers share it, and keep it when another one replaces it.
#pragma once

#include <memory>
#include <string>

#include "host/result.h"
#include "service/joblog/log_index.h"
#include "service/joblog/ring_file.h"

namespace service {

class LogVolume {
 public:
  static host::Result<std::shared_ptr<LogVolume>> create(const std::string &path, const RingFile::Head &head);
  static host::Result<std::shared_ptr<LogVolume>> open(const std::string &path);

  // False, with errno: not added, though the oldest records may have been removed for it.
  bool append(const LogRecord &record);
  void take_newest_of(const LogVolume &other);  // the newest records that fit, in their order
  bool sync() { return file_->sync(); }
  const char *loss(const std::string &path) const { return file_->loss(path); }

  const LogIndex &index() const { return index_; }
  const RingFile &file() const { return *file_; }
  RingFile::Place place(LogIndex::Position position) const {
    return file_->places()[static_cast<size_t>(position - index_.first())];
  }

 private:
  explicit LogVolume(std::shared_ptr<RingFile> file);
  bool append_body(std::span<const std::byte> body);

  std::shared_ptr<RingFile> file_;
  LogIndex index_;
};

}  // namespace service
