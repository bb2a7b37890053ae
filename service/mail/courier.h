// SPDX-License-Identifier: Apache-2.0
// Mails reports of runs to the addresses of their schedules. Each message is queued on disk, then sent by a helper
// process, one at a time, and retried with growing pauses until the server accepts it, refuses it permanently, or it is
// too old.
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
    std::string queue;      // a directory
    std::string schedmail;  // the program
    unsigned limit_ms =
        180'000;  // for one try; schedmail has a shorter limit of its own, so this one means that it hangs
  };
  Courier(Files files, std::shared_ptr<const Settings> settings, Clock now);
  ~Courier();  // kills the helper; its message stays queued
  Courier(const Courier &) = delete;
  Courier &operator=(const Courier &) = delete;

  host::Result<void> open();
  void use(std::shared_ptr<const Settings> settings) { settings_ = std::move(settings); }

  // Whether a report of a run of this schedule would be sent to anybody; otherwise its outputs need not be kept.
  bool wants(const std::string &schedule) const;
  void send(const MailReport &report);  // queues it for each address that has not got it yet

  // The newest report that was queued for all its addresses. `newest` is the newest report of this service: a larger
  // number in the queue is of another state directory and is ignored.
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

// The path of schedmail: beside this program, or in the libexec directory of its installation. Empty if not found.
std::string find_schedmail();

}  // namespace service
