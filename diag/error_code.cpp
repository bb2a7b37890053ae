// SPDX-License-Identifier: Apache-2.0
#include "diag/trace.h"
#include "schedcli.h"

namespace {

struct error_parts {
  int type, facility, number;
};

// The facility is meant to be shifted by 13, not 16: it shows eight times its 12-bit value.
error_parts split(uint32_t error) {
  return {static_cast<int>(error >> 30), static_cast<int>((error & 0x0fff0000) >> 13), static_cast<int>(error & 0xfff)};
}

}  // namespace

int sch_syserr_log(int level, uint32_t error) {
  static constexpr char format[] = "Syserr - type:%d facility:%d number:%d";
  const error_parts parts = split(error);
  sch_trace_text(level, debug_level > level, format, parts.type, parts.facility, parts.number);
  if (level != 0 && sdwrap_chk_int(level, 0, 0, 1) == 0) return 0;
  return buginf(1, sdwrap_dbg_modname, 0, format, parts.type, parts.facility, parts.number);
}
