// SPDX-License-Identifier: Apache-2.0
// Mails what runs left to the addresses of their schedules: queued on disk first, then handed to the mail server by one
// helper process at a time, again and again with growing pauses, until the server takes it, refuses it for good, or the
// message has grown too old.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "host/files/file_descriptor.h"
#include "host/loop/watch.h"
#include "host/result.h"
#include "schedcli.h"
#include "service/config/settings.h"
#include "service/mail/message.h"
#include "service/mail/queue.h"

namespace service {

class Courier {
 public:
  using Clock = std::function<int64_t()>;  // seconds since the epoch

  struct Files {
    std::string queue;            // a directory
    std::string schedmail;        // the program
    unsigned limit_ms = 180'000;  // of one try: schedmail limits itself, this is for one that hangs
  };
  Courier(Files files, std::shared_ptr<const Settings> settings, Clock now);
  ~Courier();  // ends the helper; its message stays queued
  Courier(const Courier &) = delete;
  Courier &operator=(const Courier &) = delete;

  host::Result<void> open();
  void use(std::shared_ptr<const Settings> settings) { settings_ = std::move(settings); }

  // Whether a report of this run would be sent to anybody; asked before outputs are kept for it.
  bool wants(const std::string &schedule) const;
  void send(const MailReport &report);  // queues it for each address that has it not yet

  // The newest report that was queued for all its addresses. `newest` is the newest that there is: in a queue of other
  // origin a larger number means nothing.
  uint32_t last_sent(uint32_t newest) const { return queue_.last_taken() <= newest ? queue_.last_taken() : 0; }

  size_t waiting() const { return queue_.size(); }

 private:
  struct Attempt;
  void queue_for(const MailReport &report, const MailSettings &mail, const std::string &to);
  void look();
  void start(MailQueue::Number number);
  void finish();
  void settle(const QueuedMail &mail, int status, const std::string &words);

  MailQueue queue_;
  std::string program_;
  unsigned limit_ms_;
  std::shared_ptr<const Settings> settings_;
  Clock now_;
  std::unique_ptr<Attempt> attempt_;  // under way
  host::Watch timer_;
};

// Where schedmail is: beside the program, or in the libexec directory of its installation. Empty: nowhere.
std::string find_schedmail();

}  // namespace service
