// SPDX-License-Identifier: Apache-2.0
// The service from its start to its end: active, or in standby until it takes over.
#pragma once

#include <ctime>
#include <memory>
#include <optional>
#include <string>

#include "host/files/file_descriptor.h"
#include "host/loop/loop.h"
#include "host/result.h"
#include "host/security/security.h"
#include "host/transport/transport.h"
#include "service/active.h"
#include "service/config/settings.h"
#include "service/options.h"
#include "service/standby.h"

namespace service {

enum Exit { ended = 0, failed = 1, wrong_usage = 2, state_unusable = 3, state_newer = 4 };

struct Failure {
  Exit status;
  std::string text;
};

class Service {
 public:
  Service(const Options &options, std::shared_ptr<const Settings> settings, host::User user);
  Service(const Service &) = delete;
  Service &operator=(const Service &) = delete;

  std::optional<Failure> run();  // until a signal ends it

 private:
  std::optional<Failure> stand_by();
  std::optional<Failure> open_active(const Settings &settings);
  std::optional<Failure> listen();
  host::Answer answer(const host::Incoming &incoming);
  host::Answer answer_take_over(const host::Incoming &incoming);
  void take_over();
  void take_signal(const host::FileDescriptor &signals);
  void read_settings_again();
  void run_until_signalled();

  host::Loop loop_;
  const Options &options_;
  std::shared_ptr<const Settings> settings_;
  host::User user_;
  time_t started_;
  std::unique_ptr<Standby> standby_;  // exactly one of the two is not null
  std::unique_ptr<Active> active_;
  std::optional<Failure> failure_;  // of a take-over
  std::unique_ptr<host::Server> server_;
};

}  // namespace service
