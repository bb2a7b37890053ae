// SPDX-License-Identifier: Apache-2.0
// A fragment in memory carries no size: its job's header alone tells how much of it is read. So a header read from a
// store is believed only as far as the fragments read with it bear it out.
#pragma once

#include "schedcli.h"

// `key` is `raw_key` in host order.
void restore_job_record(sch_config_db *config, const sch_config_key &key, const pss_buf &raw_key, const pss_buf &value);
