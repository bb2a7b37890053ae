// SPDX-License-Identifier: Apache-2.0
// What the scriptable platform does not answer, by the linker's --wrap of this test.
#pragma once

#include <deque>
#include <set>
#include <string>
#include <vector>

#include "platform/acfg.h"
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

  // What the configuration manager's calls were given.
  std::set<const acfg_hdl *> handles;
  std::vector<const void *> requests;      // acfg_cfg_type_get, then the prefix calls
  std::vector<const void *> responded;     // message and request
  std::vector<int> bits_after;             // the last argument of bitset_next_bit
  std::vector<std::string> foreign_lines;  // lines that were not built in cfg_line
  int dirty_lines = 0;                     // lines with something behind their end in cfg_line
};

extern PlatformHooks hooks;

}  // namespace acfg_test
