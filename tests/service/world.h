// SPDX-License-Identifier: Apache-2.0
// The service without its socket: the real stores in a directory of its own, a clock that stands still, and requests
// that go straight to the dispatcher.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "host/loop/loop.h"
#include "schedcli_requests.h"
#include "service/configuration/pending.h"
#include "service/joblog/joblog.h"
#include "service/request/context.h"
#include "service/run/runner.h"
#include "service/run/scheduler.h"

namespace service_test {

using host::Bytes;

inline constexpr time_t noon = 1795262400;  // Sat Nov 21 12:00:00 2026 UTC

void set_clock(time_t now);       // the wall clock stands still there
void run_clock_from(time_t now);  // time() goes on from there with the machine's

class Directory {
 public:
  Directory();
  explicit Directory(std::string existing) : path_(std::move(existing)), is_ours_(false) {}
  ~Directory();
  const std::string &path() const { return path_; }

 private:
  std::string path_;
  bool is_ours_ = true;
};

struct World {
  explicit World(service::Runner::Options options = {});
  World(std::string existing_directory, time_t now);  // as another process, in what one before has left
  ~World();

  void start();  // as schedd starts; `started_again` tests what a restart finds
  void stop();   // memory is as at the start of a process; the directory stays
  void restart();
  void boot();  // restart, as the first one since a boot
  uint32_t try_start(std::string *error);

  host::Answer send(const host::Caller &caller, uint32_t service, uint32_t opcode, const Bytes &payload);
  void run_to_the_end();  // the main loop, until no run is under way
  void settle();          // and until the store has taken everything

  host::Loop loop;
  Directory directory;
  service::Runner::Options options;
  service::Settings settings;                // of the next start
  void use(const service::Settings &other);  // as after a reload; and of the next start
  struct Parts {
    explicit Parts(const service::Runner::Options &options);  // with its settings
    service::JobLog log;
    service::Recorder recorder;
    service::Runner runner;
    service::Scheduler scheduler;
    service::Context context;
    service::PendingConfiguration pending_configuration;
  };
  std::unique_ptr<Parts> parts;
};

// Users of every machine, whom the password file has.
host::Caller root();
host::Caller daemon_user();
host::Caller nobody();
host::Caller remote_user();  // whom it has not

// Payloads as the handlers build them.
Bytes bytes(std::string_view text);
Bytes job_payload(const std::string &name, const std::string &text = {});
Bytes schedule_payload(const std::string &name);
Bytes time_payload(const std::string &schedule, const sch_tminfo &time);
Bytes modify_payload(const std::string &schedule, uint32_t subcommand, bool negate, const std::string &job,
                     const sch_tminfo &time = {});
Bytes log_payload(const std::string &name, const std::string &uri, uint32_t size);
Bytes show_payload(const std::string &name = {}, int32_t cursor = -1);
Bytes address_payload(uint8_t operation, const std::string &schedule, const std::string &address);

sch_tminfo daily(int hour, int minute);
sch_tminfo once(int hour, int minute);  // on the day of noon
sch_tminfo every(int minutes, time_t start);

// Shorter ways to the usual requests; root's, unless another caller is given.
uint32_t create_job(World &world, const std::string &name, const std::string &text,
                    const host::Caller &caller = root());
uint32_t create_schedule(World &world, const std::string &name, const std::vector<std::string> &jobs,
                         const sch_tminfo &time, const host::Caller &caller = root());

struct Logged {
  std::string job, schedule, user, output;
  uint32_t exit_code;
  time_t completion;
  bool operator==(const Logged &) const = default;
};
std::vector<Logged> log_of(World &world, const host::Caller &caller = root(), const std::string &name = {});

std::string shown_text(World &world, const std::string &job);  // as root sees it
int stored_records(pss_handle store);

// Everything that a restart must find again, as text: to compare.
std::string configuration();

service::ScheduleState state_of_schedule(const std::string &name);

// Sets the clock, takes what is due, and waits until the service is at rest: a hanging job may still run.
inline void pass_to(World &world, time_t now) {
  set_clock(now);
  world.parts->scheduler.check();
  world.settle();
}

// The same, and waits for the end of the runs.
inline void due_now(World &world, time_t now) {
  set_clock(now);
  world.parts->scheduler.check();
  world.run_to_the_end();
}

}  // namespace service_test
