// SPDX-License-Identifier: Apache-2.0
// The real service with faults, two schedules that are due each minute of a clock that the test moves, and what was
// promised of them.
#pragma once

#include <sys/resource.h>
#include <unistd.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "host/security/users.h"
#include "tests/system/oracle/changes.h"
#include "tests/system/oracle/client.h"
#include "tests/system/oracle/configured.h"
#include "tests/system/oracle/fault_control.h"
#include "tests/system/oracle/ledger.h"
#include "tests/system/service_process.h"

namespace oracle {

inline constexpr char never_due[] = "never-due";  // a schedule with a job that does not end by itself

class World {
 public:
  explicit World(const std::string &settings = "");
  ~World();
  World(const World &) = delete;
  World &operator=(const World &) = delete;

  FaultControl &faults() { return *faults_; }
  void arm(Action action, uint64_t first, uint64_t count = 1);
  void disarm();

  bool start();  // until it is ready; false: it has died meanwhile
  bool lives() const;
  bool struck() const {
    return faults_->first != 0 && faults_->steps >= faults_->first;
  }  // what was armed has happened
  void kill();
  void ask_to_stop();  // in order

  // What happens to it. Each is over when the service has answered or died.
  void pass(int64_t milliseconds);  // time; nobody waits for what becomes due
  void set_clock_back(int64_t milliseconds);
  void to_next_minute() { pass(60000 - faults_->wall_ms % 60000); }
  std::optional<uint64_t> run_now(const std::string &schedule);  // asks, and waits for the number
  bool kill_run(uint64_t number);
  void ask_to_run(const std::string &schedule);  // its number comes with answers()
  void show_log();                               // whole
  void answers();                                // of all that was asked for
  // Nothing: it has died, and what was asked for has happened or not.
  std::optional<uint32_t> config(uint32_t opcode, const std::string &payload);
  std::optional<uint32_t> control(control::Operation operation, const std::string &payload = "");

  // The same, with what it does to the configuration; nothing as well where the service has gone already.
  std::optional<Reply> change(const Change &change);
  void follow_changes();  // from now on every change is made by change(), and judged
  void restore();         // what the configuration was then
  void not_confirmed_in_time() { configured_.begin(base_); }  // the next start takes it back
  std::string fresh_uri() { return "flash:fresh-" + std::to_string(++fresh_uris_); }
  const Facts &facts() const { return configured_.facts(); }
  const std::string &base_text() const { return base_text_; }
  const std::string &user() const { return user_; }  // who asks
  const std::set<OperationOfService> &acknowledged() const { return acknowledged_; }
  const std::vector<std::string> &refused() const { return refused_; }
  void forget_refused() { refused_.clear(); }

  bool settle();  // until no run is under way; false: it has died, or the patience has an end before
  void have_patience(bool much) { rounds_ = much ? many_rounds : few_rounds; }  // little, while nothing can be stored

  // Of a living service, or of one that is started anew as often as it takes: what is wrong.
  Complaints judge();
  Complaints judge_anew();

  void prlimit(__rlimit_resource resource, uint64_t most) const;  // of the service

  // What a change could not store is stored by the next start, if that can.
  bool awaits_start() const { return of_next_start_ != nullptr; }

  Ledger &ledger() { return ledger_; }
  const std::string &directory() const { return directory_.path(); }
  const std::string &state() const { return state_; }
  std::string errors() const { return service_.errors(); }
  pid_t pid() const { return service_.pid(); }
  time_t now() const { return static_cast<time_t>(faults_->wall_ms / 1000); }
  Client *client() { return client_ ? &*client_ : nullptr; }

 private:
  void configure();
  void meet_death();
  void promised(const std::string &schedule, uint64_t run);
  static uint32_t status_of(const Change &change, const Reply &reply);
  void tell_what_is_switched_off();
  void acknowledged(const Change &change, const Reply &reply);
  void look_whether_it_is_there(const Change &change);
  void end_endless_runs();
  Complaints judge_configuration();
  Complaints judge_runs();
  std::optional<uint32_t> request(const std::function<bool(Client &)> &send);
  std::optional<std::vector<SeenRun>> news(const Observed &shown);
  void read_marks(Ledger::Seen *seen) const;

  system_test::TemporaryDirectory directory_;
  std::string state_ = directory_.path() + "/state", ran_ = directory_.path() + "/ran";
  std::string settings_ = directory_.path() + "/schedd.conf";
  FaultControl *faults_;
  system_test::ServiceProcess service_;
  std::optional<Client> client_;
  std::vector<std::string> asked_;  // schedules, of which the answers are to come
  std::optional<uint64_t> last_promised_;
  Ledger ledger_;
  Effect of_next_start_;
  bool follows_ = false, stops_ = false;
  std::string base_text_, user_ = host::user_by_uid(geteuid()).value().name;
  Facts base_;
  Configured configured_;
  std::vector<std::pair<time_t, time_t>> passed_;  // and perhaps it was switched off
  std::set<OperationOfService> acknowledged_;
  std::vector<std::string> refused_;
  Complaints found_;  // before it was asked for what is wrong
  unsigned fresh_uris_ = 0;
  static constexpr unsigned many_rounds = 5000, few_rounds = 5;
  unsigned rounds_ = many_rounds;  // of looking whether runs have ended
};

}  // namespace oracle
