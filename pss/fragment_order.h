// SPDX-License-Identifier: Apache-2.0
// A job's fragments are appended as they arrive. From a store that does not give its keys in ascending order that is
// not the order of their numbers, and the job's text would come out scrambled.
#pragma once

#include "schedcli.h"

class FragmentOrder {
 public:
  // To be called for every record that has entered the configuration, with its key in host order.
  void entered(const sch_config_db *config, const sch_config_key &key);

  // Whether a fragment came behind one of a higher number of its job, or before its job.
  bool is_broken() const { return broken_; }

 private:
  uint32_t last_[SCH_MAX_JOBS] = {};  // the number of each job's latest fragment
  bool came_before_its_job_ = false;
  bool broken_ = false;
};

// Takes the fragments of all jobs from the store again, by ascending number: a walk for each number that there is.
void reorder_fragments(sch_config_db *config, pss_handle store);
