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
  uint32_t report = 0;  // number of the owed report; 0: none
  std::string from, to;
  int64_t queued = 0;  // seconds since the epoch
  uint32_t attempts = 0;
  int64_t next_try = 0;
  std::string message;
};

class MailQueue {
 public:
  explicit MailQueue(std::string directory) : directory_(std::move(directory)) {}

  // Reads what an earlier process has queued; removes files that it did not finish writing.
  host::Result<void> open();

  // Durable on success. Refused when `limit` messages are queued.
  host::Result<void> add(const QueuedMail &mail, size_t limit);

  // The newest report that was queued for all its addresses. mark_taken is durable on success.
  uint32_t last_taken() const { return last_taken_; }
  host::Result<void> mark_taken(uint32_t report);
  // Whether an earlier process had queued this report for this address, but had not marked it as taken.
  bool has_begun(uint32_t report, const std::string &to) const { return begun_.contains({report, to}); }

  size_t size() const { return waiting_.size(); }
  std::optional<int64_t> next_try() const;  // the earliest

  using Number = uint64_t;
  // The one whose next try was due first; nullopt if none is due.
  std::optional<Number> due(int64_t now) const;
  host::Result<QueuedMail> read(Number number) const;
  host::Result<void> put_back(Number number, const QueuedMail &mail);  // for its next try
  void remove(Number number);

 private:
  std::string path_of(Number number) const;
  uint32_t read_last_taken() const;

  std::string directory_;
  std::map<Number, int64_t> waiting_;  // when each is to be tried next
  Number last_ = 0;
  uint32_t last_taken_ = 0;
  std::set<std::pair<uint32_t, std::string>> begun_;
};

}  // namespace service
