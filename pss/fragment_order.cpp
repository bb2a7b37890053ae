// SPDX-License-Identifier: Apache-2.0
#include "pss/fragment_order.h"

#include "pss/walk.h"
#include "pss/walked_key.h"

namespace {

void drop_fragments(sch_config_db *config) {
  for (int index = 0; index < SCH_MAX_JOBS; ++index) {
    GList *&fragments = config->jobs[index].fragments;
    g_list_foreach(fragments, free_fragment, nullptr);
    g_list_free(fragments);
    fragments = nullptr;
  }
}

bool is_next(uint32_t candidate, uint32_t number, uint32_t best) {
  return candidate > number && (best == 0 || candidate < best);
}

// Adds the fragment of this number to every job that has one. Returns the next number that any job has, or 0.
uint32_t add_fragments(sch_config_db *config, pss_handle store, uint32_t number) {
  uint32_t next = 0;
  StoreWalk walk(store);
  for (const pss_buf *raw_key = walk.first(); raw_key != nullptr; raw_key = walk.next()) {
    WalkedKey walked(*raw_key);
    const sch_config_key &key = walked.in_host_order();
    if (key.type != SCH_CONFIG_JOB) continue;
    if (is_next(key.fragment, number, next)) next = key.fragment;
    if (key.fragment != number) continue;
    if (const pss_buf *value = walk.value()) walked.enter(config, value);
  }
  return next;
}

}  // namespace

void FragmentOrder::entered(const sch_config_db *config, const sch_config_key &key) {
  if (key.type != SCH_CONFIG_JOB) return;
  if (key.fragment == 0) {
    broken_ = broken_ || came_before_its_job_;
    return;
  }
  sch_job_entry *slot = nullptr;
  const int index = sch_find_job(config, key.name, &slot);
  if (index < 0) {
    came_before_its_job_ = true;
    return;
  }
  broken_ = broken_ || key.fragment < last_[index];
  last_[index] = key.fragment;
}

void reorder_fragments(sch_config_db *config, pss_handle store) {
  drop_fragments(config);
  for (uint32_t number = 1; number != 0;)
    number = add_fragments(config, store, number);
}
