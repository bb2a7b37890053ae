// SPDX-License-Identifier: Apache-2.0
#include "schedcli.h"

const pss_buf *sch_get_syslog_pss_key(void) {
  static uint32_t setting = 22;
  static pss_buf key;
  key = {&setting, sizeof setting};
  return &key;
}
