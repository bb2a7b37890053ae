// SPDX-License-Identifier: Apache-2.0
// Which slot of a job table has a name. Every fragment of a store asks.
#pragma once

#include "schedcli.h"

// The lowest slot in use that has the name; -1: none.
int slot_named(const sch_config_db *config, const char *name);

void note_slot_named(const sch_config_db *config, const sch_job_entry *slot);  // it has got its key

// Look-ups of this table are constant time while one of these lives. Nothing but the add operations may change the
// table meanwhile. Outside, the slots are anybody's to change, hence each look-up walks. Not nested.
class job_name_session {
 public:
  explicit job_name_session(const sch_config_db *config);
  ~job_name_session();
  job_name_session(const job_name_session &) = delete;
  job_name_session &operator=(const job_name_session &) = delete;
};
