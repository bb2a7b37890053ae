// SPDX-License-Identifier: Apache-2.0
// Mail that waits to be sent: a file for each message and recipient in a directory of the state directory, so that it
// survives a restart.
#pragma once

#include <cstdint>
#include <ctime>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>

#include "host/result.h"

namespace service {

struct QueuedMail {
  std::string schedule;  // for the system log
  uint64_t run = 0;
  uint32_t report = 0;  // under which number it was owed; 0: none
  std::string from, to;
  int64_t queued = 0;  // seconds since the epoch
  uint32_t attempts = 0;
  int64_t next_try = 0;
  std::string message;
};

class MailQueue {
 public:
  explicit MailQueue(std::string directory) : directory_(std::move(directory)) {}

  // Finds what an earlier process left; what it did not finish writing goes.
  host::Result<void> open();

  // On disk when it returns. Refused when `limit` messages wait.
  host::Result<void> add(const QueuedMail &mail, size_t limit);

  // The newest report that is here, or was, for every address. On disk when mark_taken returns.
  uint32_t last_taken() const { return last_taken_; }
  host::Result<void> mark_taken(uint32_t report);
  // Left by an earlier process, of a report that it had not yet marked as taken.
  bool has_begun(uint32_t report, const std::string &to) const { return begun_.contains({report, to}); }

  size_t size() const { return waiting_.size(); }
  std::optional<int64_t> next_try() const;  // the earliest

  using Number = uint64_t;
  // The one whose time has come first.
  std::optional<Number> due(int64_t now) const;
  host::Result<QueuedMail> read(Number number) const;
  host::Result<void> put_back(Number number, const QueuedMail &mail);  // for its next try
  void remove(Number number);

 private:
  std::string path_of(Number number) const;
  uint32_t read_last_taken() const;

  std::string directory_;
  std::map<Number, int64_t> waiting_;  // the next try of each
  Number last_ = 0;
  uint32_t last_taken_ = 0;
  std::set<std::pair<uint32_t, std::string>> begun_;
};

}  // namespace service
