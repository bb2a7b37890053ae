// SPDX-License-Identifier: Apache-2.0
#include "service/run/runner.h"

#include <algorithm>
#include <utility>

#include "control/statuses.h"
#include "host/security/users.h"
#include "service/clock.h"
#include "service/limits.h"
#include "service/memory_reserve.h"

namespace service {
namespace {

constexpr uint32_t administrator = 1;  // owner tag of root, uid + 1

Runner::UnderWay under_way(const RunStep &schedule, const RunTicket &ticket, const std::string &job, bool waits) {
  return {ticket, schedule.schedule_name, schedule.owner, job, schedule.owner_tag, waits};
}

Turn<Runner::Waiting>::Limits limits_of_turn(const Settings &settings) {
  const auto in_all = static_cast<size_t>(settings.max_parallel);
  return {in_all, static_cast<size_t>(settings.max_parallel_per_user), std::min(run_places_for_others, in_all / 4)};
}

// Sets the flag during its lifetime, also if an exception for want of memory leaves the scope.
class Held {
 public:
  explicit Held(bool *flag) : flag_(flag) { *flag_ = true; }
  ~Held() { *flag_ = false; }
  Held(const Held &) = delete;
  Held &operator=(const Held &) = delete;

 private:
  bool *flag_;
};

}  // namespace

Runner::Runner(Recorder &recorder, const Options &options)
    : recorder_(recorder),
      options_{options.settings, options.change_user},
      processes_(options.processes),
      turn_(limits_of_turn(*options.settings), administrator) {}
Runner::~Runner() = default;

void Runner::use(std::shared_ptr<const Settings> settings) {
  turn_.set_limits(limits_of_turn(*settings));
  options_.settings = std::move(settings);
}

void Runner::add(const sch_schedule_entry &entry, RunTicket ticket) {
  Waiting waiting = {RunStep(entry), std::move(ticket)};
  const uint32_t owner = waiting.schedule.owner_tag;
  turn_.wait(owner, std::move(waiting));
}

// A run may end while it is being started, and its end calls this function again: then the outer call goes on.
void Runner::start_waiting() {
  if (starting_) return;
  const Held held(&starting_);
  while (unrecorded_ < unrecorded_limit && turn_.waiting() != 0) {
    if (memory_is_short()) return start_later();
    std::optional<Waiting> next = turn_.next();
    if (!next) break;
    start(std::move(*next));
  }
}

void Runner::start_later() {
  again_ = host::Watch::after_ms(retry_ms, [this] { start_waiting(); });
}

void Runner::start(Waiting waiting) {
  const uint64_t number = waiting.ticket.number;
  const uint32_t owner = waiting.schedule.owner_tag;
  auto run =
      std::make_unique<Run>(options_, processes_, recorder_, std::move(waiting.schedule), std::move(waiting.ticket),
                            Run::Ends{[this, owner] { processes_ended(owner); }, [this, number] { ended(number); }});
  Run &begun = *(runs_[number] = std::move(run));
  begun.begin(wall_clock_ms());
}

// Of another name service's users nothing is asked ahead, as it may be a server that does not answer.
void Runner::prepare(const sch_schedule_entry &entry) {
  const RunStep schedule(entry);
  const int id = job_after(*entry.rec, -1);
  if (id < 0 || !host::user_is_local(schedule.owner)) return;
  const sch_job_entry &slot = sch_job_list[id];
  const std::optional<host::User> owner = owner_for(options_, schedule.owner, schedule.owner_tag);
  if (!owner || owner_of(slot) != schedule.owner_tag) return;
  processes_.prepare(task_for(slot, schedule.schedule_name, *owner, options_, processes_));
}

void Runner::processes_ended(uint32_t owner_tag) {
  turn_.give_back(owner_tag);
  unrecorded_++;
  start_waiting();
}

void Runner::ended(uint64_t number) {
  runs_.erase(number);
  unrecorded_--;
  start_waiting();
}

host::Result<void> Runner::kill(uint64_t number, const std::string &asked_by) {
  if (const auto run = runs_.find(number); run != runs_.end()) {
    run->second->kill(asked_by);
    return {};
  }
  if (unstarted_.contains(number)) return {};
  std::optional<Waiting> waiting =
      turn_.take([&](const Waiting &candidate) { return candidate.ticket.number == number; });
  if (!waiting) return host::Error{control::err_no_such_run, "run " + std::to_string(number) + " is not under way"};
  end_unstarted(std::move(*waiting), Reason::killed, "killed before its turn came: asked for by " + asked_by);
  return {};
}

void Runner::end_unstarted(Waiting waiting, Reason reason, const std::string &remark) {
  RunStep step = std::move(waiting.schedule);
  step.outcome.run = waiting.ticket.number;
  step.outcome.due = waiting.ticket.due;
  step.outcome.run_begin_ms = waiting.ticket.begin_ms;
  step.outcome.asked_by = waiting.ticket.asked_by;
  step.outcome.reason = reason;
  step.outcome.wait_status = exit_status(reason);
  step.outcome.end_ms = wall_clock_ms();
  step.outcome.remark = remark;
  step.ends_run = true;
  step.had_its_turn = false;
  const uint64_t number = waiting.ticket.number;
  unstarted_.emplace(number, service::under_way(step, waiting.ticket, "", true));
  recorder_.record(std::move(step), [this, number] { unstarted_.erase(number); });
}

void Runner::stop_all() {
  starting_ = true;  // start_waiting() does nothing from now on
  again_.stop();
  std::vector<JobProcess *> processes;
  for (const auto &[number, run] : runs_)
    if (JobProcess *process = run->process(); process != nullptr) processes.push_back(process);
  JobProcess::end_all(processes, options_.settings->stop_grace_s * 1000);
  for (const auto &[number, run] : runs_)
    run->stop();
  for (Waiting &waiting : turn_.clear())
    end_unstarted(std::move(waiting), Reason::stopped, "stopped: the scheduler service ended");
  recorder_.flush();
  runs_.clear();  // runs whose end could not be stored are recorded as interrupted by the next start
}

std::vector<Runner::UnderWay> Runner::list() const {
  std::vector<UnderWay> found;
  for (const auto &[number, run] : runs_)
    found.push_back(service::under_way(run->schedule(), run->ticket(), run->job_name(), false));
  turn_.for_each_waiting(
      [&](const Waiting &waiting) { found.push_back(service::under_way(waiting.schedule, waiting.ticket, "", true)); });
  for (const auto &[number, run] : unstarted_)
    found.push_back(run);
  return found;
}

}  // namespace service
