// SPDX-License-Identifier: Apache-2.0
// What the scriptable platform does not answer, by the linker's --wrap of this test.
#pragma once

#include <deque>
#include <string>

#include "platform/pss.h"

namespace acfg_test {

struct PlatformHooks {
  std::deque<int> bits;             // answers of bitset_next_bit, then -1; none: the real one answers
  bool key_without_data = false;    // of sch_get_syslog_pss_key
  bool no_key = false;              // the same, null altogether
  std::string error_on_open_of;     // pss_open of this URI gives its handle beside an error
  bool value_with_error = false;    // pss2_fetch gives its value beside an error
  bool null_without_error = false;  // pss2_fetch gives null and no error
  bool no_startup_uri = false;      // acfg_uri_complete answers null for "scheduler_startup"
};

extern PlatformHooks hooks;

}  // namespace acfg_test
