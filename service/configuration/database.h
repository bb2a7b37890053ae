// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <ctime>
#include <optional>
#include <vector>

#include "schedcli.h"
#include "service/configuration/configuration.h"
#include "service/state/change.h"

namespace service {

// The jobs, schedules and addresses of a new configuration, built beside those in use. Unchanged ones keep their state.
// The destructor frees what it holds: the new records or, after take_place(), the old ones.
class Database {
 public:
  struct MovedJob {
    uint32_t from, to;
  };

  explicit Database(const Configuration &target);  // may throw std::bad_alloc
  Database(const Database &) = delete;
  Database &operator=(const Database &) = delete;

  // As a part of `change`: swaps these records with those in use, computes due times, and saves what differs.
  void take_place(ConfigChange &change, time_t now);

  // False: runs under way use ids and numbers, which therefore cannot change, so new jobs and schedules come last.
  bool keeps_order() const { return keeps_order_; }
  const std::vector<MovedJob> &moved_jobs() const { return moved_; }

 private:
  void place_jobs(const std::vector<JobBlock> &blocks);
  void number_schedules(const std::vector<ScheduleBlock> &blocks);
  void build_job(const JobBlock &block, uint32_t id);
  void build_schedule(const ScheduleBlock &block, uint32_t number);
  void build_addresses(const ScheduleBlock &block);
  void swap_with_live() noexcept;
  void arm_changed(time_t now);
  void save_jobs(ConfigChange &change);
  void save_schedules(ConfigChange &change);
  void save_addresses(ConfigChange &change);

  struct Records {
    Records() = default;
    ~Records();
    Records(const Records &) = delete;
    Records &operator=(const Records &) = delete;
    sch_job_entry jobs[SCH_MAX_JOBS] = {};
    GList *schedules = nullptr, *addresses = nullptr;
  };

  Records records_;
  std::vector<uint32_t> job_ids_, numbers_;  // of the target's blocks
  uint32_t next_number_ = 0;
  std::vector<sch_schedule_entry *> to_arm_;  // whose time has changed, or which were enabled or disabled
  std::vector<MovedJob> moved_;
  bool keeps_order_ = true;
};

}  // namespace service
