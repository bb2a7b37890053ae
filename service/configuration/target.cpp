// SPDX-License-Identifier: Apache-2.0
#include "service/configuration/target.h"
#include "control/statuses.h"

#include <algorithm>
#include <map>
#include <string_view>

#include "host/status.h"
#include "platform/errors.h"

namespace service {
namespace {

template <typename Block>
using ByName = std::map<std::string_view, const Block *>;

template <typename Block>
ByName<Block> by_name(const std::vector<Block> &blocks) {
  ByName<Block> names;
  for (const Block &block : blocks)
    names.emplace(block.name, &block);
  return names;
}

class Builder {
 public:
  Builder(const Configuration &current, Scope scope, const Operator &who, const Settings &limits)
      : current_(current), scope_(scope), who_(who), limits_(limits) {}

  Target build(const Configuration &wanted) {
    target_.whole.settings = wanted.settings;
    if (!wanted.settings.feature) target_.whole.settings.feature = current_.settings.feature;
    if (!who_.administrator) take_settings_of_user(wanted.settings);
    target_.whole.jobs = merged(current_.jobs, owned(current_.jobs, wanted.jobs));
    target_.whole.schedules = merged(current_.schedules, owned(current_.schedules, wanted.schedules));
    check_jobs();
    check_schedules();
    put_assigned_in_order();
    return std::move(target_);
  }

 private:
  void object(size_t line, std::string text) { target_.problems.push_back({line, std::move(text)}); }
  void object(size_t line, const std::string &what, uint32_t status) { object(line, what + ": " + syserr2str(status)); }

  void take_settings_of_user(const GlobalSettings &wanted) {
    if (!(wanted == GlobalSettings())) object(0, "the settings are the administrator's", host::err_not_permitted);
    target_.whole.settings = current_.settings;
  }

  template <typename Block>
  std::vector<Block> owned(const std::vector<Block> &present, std::vector<Block> blocks) {
    const ByName<Block> known = by_name(present);
    for (Block &block : blocks) {
      const auto found = known.find(block.name);
      if (found != known.end())
        block.owner = found->second->owner;
      else if (block.owner.tag == 0)
        block.owner = who_.owner;
      if (!may_use(block)) object(block.line, block.name, control::err_not_owner);
    }
    return blocks;
  }

  template <typename Block>
  bool may_use(const Block &block) const {
    return who_.administrator || block.owner.tag == who_.owner.tag;
  }

  template <typename Block>
  std::vector<Block> merged(const std::vector<Block> &present, std::vector<Block> wanted) const {
    if (scope_ == Scope::overlay) return laid_over(present, std::move(wanted));
    return who_.administrator ? wanted : among_others(present, std::move(wanted));
  }

  template <typename Block>
  static std::vector<Block> laid_over(std::vector<Block> present, std::vector<Block> wanted) {
    std::map<std::string, size_t> places;
    for (size_t i = 0; i < present.size(); i++)
      places.emplace(present[i].name, i);
    for (Block &block : wanted) {
      const auto place = places.find(block.name);
      if (place != places.end())
        present[place->second] = std::move(block);
      else
        present.push_back(std::move(block));
    }
    return present;
  }

  // The operator's blocks take the places of those that the operator had; if there are more, the rest comes last.
  template <typename Block>
  std::vector<Block> among_others(const std::vector<Block> &present, std::vector<Block> wanted) const {
    std::vector<Block> all;
    auto next = wanted.begin();
    for (const Block &block : present) {
      if (!may_use(block))
        all.push_back(block);
      else if (next != wanted.end())
        all.push_back(std::move(*next++));
    }
    std::move(next, wanted.end(), std::back_inserter(all));
    return all;
  }

  template <typename Block>
  size_t count_of(const std::vector<Block> &blocks) const {
    return static_cast<size_t>(
        std::ranges::count_if(blocks, [&](const Block &block) { return block.owner.tag == who_.owner.tag; }));
  }

  // A limit may have been lowered below what there is: then the number must not grow.
  template <typename Block>
  bool exceeds(const std::vector<Block> &now, const std::vector<Block> &before, int limit) const {
    const size_t count = count_of(now);
    return !who_.administrator && count > static_cast<size_t>(limit) && count > count_of(before);
  }

  void check_jobs() {
    const std::vector<JobBlock> &jobs = target_.whole.jobs;
    if (jobs.size() > SCH_MAX_JOBS) object(0, "the jobs", control::err_job_table_full);
    if (exceeds(jobs, current_.jobs, limits_.max_jobs_per_user)) object(0, "the jobs", control::err_too_many_own_jobs);
    const ByName<JobBlock> present = by_name(current_.jobs);
    for (const JobBlock &job : jobs) {
      const auto known = present.find(job.name);
      const bool is_new = known == present.end() || known->second->text != job.text;
      if (is_new && job.text.size() > static_cast<size_t>(limits_.job_text_bytes))
        object(job.line, "job " + job.name, control::err_text_too_long);
    }
  }

  void check_schedules() {
    const std::vector<ScheduleBlock> &schedules = target_.whole.schedules;
    if (schedules.size() > static_cast<size_t>(limits_.max_schedules) && schedules.size() > current_.schedules.size())
      object(0, "the schedules", control::err_too_many_schedules);
    if (exceeds(schedules, current_.schedules, limits_.max_schedules_per_user))
      object(0, "the schedules", control::err_too_many_own_schedules);
    const ByName<JobBlock> jobs = by_name(target_.whole.jobs);
    for (const ScheduleBlock &schedule : schedules)
      for (const std::string &name : schedule.jobs)
        check_assigned(schedule, name, jobs);
  }

  // A job runs as the schedule's owner, so it must be the same owner's.
  void check_assigned(const ScheduleBlock &schedule, const std::string &name, const ByName<JobBlock> &jobs) {
    const std::string what = "schedule " + schedule.name + ", job " + name;
    const auto job = jobs.find(name);
    if (job == jobs.end()) return object(schedule.line, what, control::err_no_such_job);
    if (job->second->owner.tag != schedule.owner.tag) object(schedule.line, what, control::err_not_owner);
  }

  // Runs take assigned jobs in the order of the job table, so the text shows them in that order.
  void put_assigned_in_order() {
    std::map<std::string_view, size_t> places;
    for (size_t i = 0; i < target_.whole.jobs.size(); i++)
      places.emplace(target_.whole.jobs[i].name, i);
    for (ScheduleBlock &schedule : target_.whole.schedules)
      std::ranges::sort(schedule.jobs, {}, [&](const std::string &name) {
        const auto place = places.find(name);
        return place == places.end() ? places.size() : place->second;  // one that is not there is objected to later
      });
  }

  const Configuration &current_;
  Scope scope_;
  const Operator &who_;
  const Settings &limits_;
  Target target_;
};

}  // namespace

Target target_of(const Configuration &current, const Configuration &wanted, Scope scope, const Operator &who,
                 const Settings &limits) {
  return Builder(current, scope, who, limits).build(wanted);
}

}  // namespace service
