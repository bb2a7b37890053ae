// SPDX-License-Identifier: Apache-2.0
// Finds the slot of a job by its name, quickly while a store is restored: every fragment is looked up.
#pragma once

#include "schedcli.h"

// The lowest slot in use that has the name; -1: none.
int slot_named(const sch_config_db *config, const char *name);

void note_slot_named(const sch_config_db *config, const sch_job_entry *slot);  // after a slot has got its key

// Look-ups of this table are constant time while one of these lives. Nothing but the add functions may change the table
// meanwhile. Without a session each look-up walks, as callers may change the slots between two calls. Sessions do not
// nest.
class job_name_session {
 public:
  explicit job_name_session(const sch_config_db *config);
  ~job_name_session();
  job_name_session(const job_name_session &) = delete;
  job_name_session &operator=(const job_name_session &) = delete;
};
