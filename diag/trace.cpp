// SPDX-License-Identifier: Apache-2.0
#include "diag/trace.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>

uint32_t cli_debug = 0;
int32_t debug_level = 0;

namespace {

constexpr size_t history_text_size = 512;

struct history_record {
  uint32_t subtype;
  char text[history_text_size];
};

}  // namespace

// A text is formatted only when a sink takes it: a restore traces each record several times.
void sch_trace_text(int level, bool to_stderr, const char *format, ...) {
  history_record record;
  record.subtype = static_cast<uint32_t>(level);
  va_list arguments;
  va_start(arguments, format);
  if (to_stderr) {
    va_list once;
    va_copy(once, arguments);
    vsnprintf(record.text, sizeof record.text, format, once);
    va_end(once);
    fprintf(stderr, "%s\n", record.text);
  }
  if (sdwrap_hist_event_subtype_check(trace_module, record.subtype) == 0) {
    vsnprintf(record.text, sizeof record.text, format, arguments);
    const size_t length = sizeof record.subtype + strlen(record.text) + 1;
    sdwrap_hist_event(trace_module, static_cast<uint32_t>(length), &record);
  }
  va_end(arguments);
}
