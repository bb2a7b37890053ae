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

void copy_name(char (&field)[SCH_NAME_SIZE], const std::string &name) {
  name.copy(field, sizeof field - 1);
}

sch_modify_request modification(const std::string &schedule, uint32_t subcommand) {
  sch_modify_request request = {};
  request.subcommand = subcommand;
  request.time.type = subcommand;
  copy_name(request.schedule, schedule);
  return request;
}

// A line in the file of what ran, and a mark that nothing else has, there and in the output.
std::string marking_job(const std::string &file, const std::string &end) {
  return "read mark </proc/sys/kernel/random/uuid\necho \"$SCHEDULE $JOB $mark\" >>" + file +
         "\necho \"mark $mark\"\n" + end;
}

}  // namespace

std::string named(const std::string &name, bool negate) {
  sch_named_request request = {};
  request.negate = negate;
  copy_name(request.name, name);
  return bytes_of(request);
}

std::string job_text(const std::string &name, const std::string &text, bool negate) {
  sch_job_request request = {};
  request.head.negate = negate;
  copy_name(request.head.name, name);
  request.text_length = static_cast<uint32_t>(text.size());
  return bytes_of(request) + text;
}

std::string assignment(const std::string &schedule, const std::string &job, bool negate) {
  sch_modify_request request = modification(schedule, SCH_MODIFY_JOB);
  request.time = {};
  request.negate = negate;
  copy_name(request.job, job);
  return bytes_of(request);
}

std::string each_minute(const std::string &schedule, time_t first) {
  sch_modify_request request = modification(schedule, SCH_SCHEDULE_PERIODIC);
  request.time.minute = 1;
  request.time.start_time = static_cast<int32_t>(first);
  return bytes_of(request);
}

std::string each_day(const std::string &schedule, int hour, int minute) {
  sch_modify_request request = modification(schedule, SCH_SCHEDULE_DAILY);
  request.time.hour = hour;
  request.time.minute = minute;
  return bytes_of(request);
}

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
  const std::pair<const char *, const char *> jobs[] = {{"first", ""}, {"second", "exit 3\n"}, {"third", ""}};
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
  faults_->boot_ms += milliseconds;
  faults_->wall_ms += milliseconds;
  service_.signal(clock_signal);
}

// No time passes by it.
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
      ledger_.promised(schedule, record_of<uint64_t>(reply->text()));
  }
  asked_.clear();
}

void World::run_now(const std::string &schedule) {
  ask_to_run(schedule);
  answers();
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
  if (opcode == SCH_OP_CLEAR_LOG) ledger_.cleared();
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
      quiet = quiet && (minute * 1000 == beginning_ms || std::ranges::any_of(*runs, [&](const SeenRun &run) {
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

Complaints World::judge() {
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
  return judge();
}

}  // namespace oracle
