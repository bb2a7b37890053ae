// SPDX-License-Identifier: Apache-2.0
#include "tests/system/oracle/world.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <sstream>
#include <stdexcept>

#include "host/files/paths.h"
#include "tests/system/oracle/requests.h"

namespace oracle {
namespace {

constexpr int64_t beginning_ms = 1'800'000'000'000;  // a whole minute
constexpr useconds_t longest_pause_us = 16000;

FaultControl *map_control(const std::string &path) {
  const int file = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
  if (ftruncate(file, sizeof(FaultControl)) != 0) abort();
  void *memory = mmap(nullptr, sizeof(FaultControl), PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
  close(file);
  if (memory == MAP_FAILED) abort();
  return static_cast<FaultControl *>(memory);
}

// A line in the file of what ran, and a mark that nothing else has, there and in the output.
std::string marking_job(const std::string &file, const std::string &end) {
  return "read mark </proc/sys/kernel/random/uuid\necho \"$SCHEDULE $JOB $mark\" >>" + file +
         "\necho \"mark $mark\"\n" + end;
}

}  // namespace

World::World(const std::string &settings)
    : faults_(map_control(directory_.path() + "/faults")),
      service_(state_, {"--config", settings_}, SCHEDD_WITH_FAULTS_PATH) {
  std::ofstream(settings_) << settings;
  faults_->wall_ms = beginning_ms;
  faults_->boot_ms = 1000000;
  service_.environment(std::string(control_variable) + "=" + directory_.path() + "/faults");
  service_.environment("TZ=UTC");
  host::use_paths(host::resolve_paths(state_.c_str()));
  if (!start()) throw std::runtime_error("the service does not start: " + errors());
  configure();
}

World::~World() {
  munmap(faults_, sizeof *faults_);
}

void World::configure() {
  const auto must = [](std::optional<uint32_t> status) {
    if (status != 0u) throw std::runtime_error("the service cannot be configured");
  };
  must(control(control::Operation::enable_feature));
  const std::pair<const char *, const char *> jobs[] = {
      {"first", ""}, {"second", "exit 3\n"}, {"third", ""}, {"endless", "exec sleep 1000\n"}};
  for (const auto &[name, end] : jobs) {
    must(config(SCH_OP_CREATE_JOB, job_text(name, "")));
    must(config(SCH_OP_DEFINE_JOB, job_text(name, marking_job(ran_, end))));
  }
  const std::pair<const char *, std::set<std::string>> schedules[] = {{"A", {"first", "second"}},
                                                                      {"B", {"second", "third"}}};
  const time_t first = now() + 60;
  for (const auto &[name, assigned] : schedules) {
    must(config(SCH_OP_CREATE_SCHEDULE, named(name)));
    for (const std::string &job : assigned)
      must(config(SCH_OP_MODIFY_SCHEDULE, assignment(name, job)));
    must(config(SCH_OP_MODIFY_SCHEDULE, each_minute(name, first)));
    ledger_.add_schedule(name, assigned, first, 60);
  }
  must(config(SCH_OP_CREATE_SCHEDULE, named(never_due)));
  must(config(SCH_OP_MODIFY_SCHEDULE, assignment(never_due, "endless")));
  ledger_.add_schedule(never_due, {"endless"}, 0, 0);
}

void World::arm(Action action, uint64_t first, uint64_t count) {
  faults_->first = 0;
  faults_->action = action;
  faults_->steps = 0;
  faults_->count = count;
  faults_->first = first;
}

void World::disarm() {
  faults_->first = 0;
}

bool World::start() {
  client_.reset();
  stops_ = false;
  if (!service_.start()) {
    meet_death();
    return false;
  }
  client_.emplace(host::paths().socket);
  return true;
}

bool World::lives() const {
  siginfo_t info = {};
  return service_.pid() > 0 &&
         waitid(P_PID, static_cast<id_t>(service_.pid()), &info, WEXITED | WNOHANG | WNOWAIT) == 0 && info.si_pid == 0;
}

void World::meet_death() {
  const int status = service_.wait();
  if (WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL) return;
  if (WIFEXITED(status) && WEXITSTATUS(status) == 0 && stops_) return;
  throw std::runtime_error("the service ended by itself, wait status " + std::to_string(status) + ": " + errors());
}

void World::ask_to_stop() {
  stops_ = true;
  service_.signal(SIGTERM);
}

void World::kill() {
  service_.signal(SIGKILL);
  meet_death();
}

void World::pass(int64_t milliseconds) {
  passed_.emplace_back(now(), now() + milliseconds / 1000);
  faults_->boot_ms += milliseconds;
  faults_->wall_ms += milliseconds;
  service_.signal(clock_signal);
  if (!configured_.is_open()) tell_what_is_switched_off();
}

// Only the wall clock is set: no time passes.
void World::set_clock_back(int64_t milliseconds) {
  faults_->wall_ms -= milliseconds;
  faults_->clock_was_set = true;
  service_.signal(clock_signal);
}

void World::prlimit(__rlimit_resource resource, uint64_t most) const {
  rlimit limit = {};
  ::prlimit(service_.pid(), resource, nullptr, &limit);
  limit.rlim_cur = most;
  if (::prlimit(service_.pid(), resource, &limit, nullptr) != 0) throw std::runtime_error("no limit can be set");
}

void World::ask_to_run(const std::string &schedule) {
  asked_.push_back(schedule);
  if (client_) client_->send_control(control::Operation::run_schedule, schedule);
}

void World::answers() {
  for (const std::string &schedule : asked_) {
    const std::optional<Reply> reply = client_ ? client_->receive() : std::nullopt;
    if (!reply)
      ledger_.perhaps(schedule);
    else if (reply->status == 0)
      promised(schedule, record_of<uint64_t>(reply->text()));
  }
  asked_.clear();
}

void World::promised(const std::string &schedule, uint64_t run) {
  ledger_.promised(schedule, run);
  last_promised_ = run;
  acknowledged_.insert({host::service_control, static_cast<uint32_t>(control::Operation::run_schedule)});
}

std::optional<uint64_t> World::run_now(const std::string &schedule) {
  answers();
  last_promised_.reset();
  ask_to_run(schedule);
  answers();
  return last_promised_;
}

void World::show_log() {
  answers();
  if (client_) client_->show(SCH_OP_SHOW_LOG);
}

std::optional<uint32_t> World::request(const std::function<bool(Client &)> &send) {
  answers();
  if (!client_ || !send(*client_)) return std::nullopt;
  const std::optional<Reply> reply = client_->receive();
  return reply ? std::optional(reply->status) : std::nullopt;
}

std::optional<uint32_t> World::config(uint32_t opcode, const std::string &payload) {
  if (opcode == SCH_OP_CLEAR_LOG) ledger_.perhaps_cleared();
  return request([&](Client &client) { return client.send_config(opcode, payload); });
}

std::optional<uint32_t> World::control(control::Operation operation, const std::string &payload) {
  return request([&](Client &client) { return client.send_control(operation, payload); });
}

bool World::settle() {
  answers();
  for (unsigned round = 0; client_ && round < rounds_; round++) {
    bool quiet = true;
    for (const char *schedule : {"A", "B"}) {
      const auto runs = see_history(*client_, schedule);
      if (!runs) return false;
      // The clock may have rung and the service not looked yet.
      const time_t minute = now() / 60 * 60;
      quiet = quiet && (minute * 1000 == beginning_ms || ledger_.was_off(schedule, minute) ||
                        std::ranges::any_of(*runs, [&](const SeenRun &run) {
                          return run.due + (std::max<time_t>(run.missed, 1) - 1) * 60 == minute;
                        }));
    }
    const auto all = see_history(*client_, "");  // last: what is due is taken together
    if (!all) return false;
    if (quiet && std::ranges::none_of(*all, is_under_way)) return true;
    usleep(std::min(1000u << std::min(round, 10u), longest_pause_us));
  }
  return false;
}

std::optional<std::vector<SeenRun>> World::news(const Observed &shown) {
  std::vector<SeenRun> found;
  for (const auto &[_, runs] : shown.runs)
    for (const SeenRun &run : runs) {
      if (ledger_.knows(run.number)) continue;
      const std::optional<SeenRun> whole = see_run(*client_, run);
      if (!whole) return std::nullopt;
      found.push_back(*whole);
    }
  return found;
}

void World::read_marks(Ledger::Seen *seen) const {
  std::ifstream lines(ran_);
  for (std::string schedule, job, mark; lines >> schedule >> job >> mark;) {
    seen->ran[{schedule, job}]++;
    seen->marks.insert(mark);
  }
}

// Nothing else ends them, unless the story did.
void World::end_endless_runs() {
  const auto runs = see_history(*client_, never_due);
  if (!runs) return;
  for (const SeenRun &run : *runs)
    if (is_under_way(run) && !ledger_.was_killed(run.number))
      client_->control(control::Operation::kill_run, bytes_of(run.number));
}

Complaints World::judge() {
  answers();
  Complaints complaints = judge_configuration();
  if (complaints.empty()) complaints = judge_runs();
  return complaints;
}

Complaints World::judge_runs() {
  end_endless_runs();
  if (!settle()) return {lives() ? "runs do not end" : "the service died unarmed: " + errors()};
  const std::optional<Observed> shown = observe(*client_);
  const std::optional<std::vector<SeenRun>> news_of_it = shown ? news(*shown) : std::nullopt;
  if (!news_of_it) return {"the service died unarmed: " + errors()};
  Ledger::Seen seen = {*shown, *news_of_it, {}, {}, now()};
  read_marks(&seen);
  return ledger_.judge(seen);
}

Complaints World::judge_anew() {
  answers();
  if (stops_ && service_.pid() > 0) meet_death();  // in its own time
  disarm();
  if (service_.pid() > 0) kill();
  if (!start()) return {"the service does not start: " + errors()};
  if (awaits_start()) configured_.unanswered(std::exchange(of_next_start_, nullptr));
  return judge();
}

}  // namespace oracle
