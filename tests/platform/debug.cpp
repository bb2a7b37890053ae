// SPDX-License-Identifier: Apache-2.0
#include "platform/debug.h"

#include <cstring>

#include "tests/platform/state.h"

using namespace platform_test;

const char sdwrap_dbg_modname[] = "scheduler";

int sdwrap_hist_event(uint32_t module, uint32_t length, const void *record) {
  HistoryEvent event{module, length, 0, {}};
  if (length >= sizeof event.subtype) {
    std::memcpy(&event.subtype, record, sizeof event.subtype);
    const char *text = static_cast<const char *>(record) + sizeof event.subtype;
    event.text.assign(text, strnlen(text, length - sizeof event.subtype));
  }
  note_trace("sdwrap_hist_event %u %s", event.subtype, event.text.c_str());
  fake.history.push_back(event);
  return fake.history_result;
}

int sdwrap_hist_event_subtype_check(uint32_t module, uint32_t subtype) {
  note_trace("sdwrap_hist_event_subtype_check 0x%x %u", module, subtype);
  return fake.history_allowed ? 0 : 1;
}

int sdwrap_chk_int(int level, int zero1, int zero2, int one) {
  note_trace("sdwrap_chk_int %d %d %d %d", level, zero1, zero2, one);
  return fake.buginf_allowed ? 1 : 0;
}

int buginf(int one, const char *modname, int zero, const char *format, ...) {
  va_list arguments;
  va_start(arguments, format);
  fake.buginf.push_back(format_text(format, arguments));
  va_end(arguments);
  fake.buginf_formats.emplace_back(format);
  note_trace("buginf %d %s %d %s", one, modname, zero, fake.buginf.back().c_str());
  return fake.buginf_result;
}

int sdwrap_debug_dump(uint32_t shell_handle, uint32_t destination, uint32_t constant_136, const uint32_t argument[2],
                      const char *text) {
  note("sdwrap_debug_dump %u 0x%x %u %u %u %s", shell_handle, destination, constant_136, argument[0], argument[1],
       text);
  return static_cast<int>(scripted_error("sdwrap_debug_dump"));
}

void sdwrap_dbg_clean(void *arg) {
  note("sdwrap_dbg_clean %s", arg == nullptr ? "null" : "arg");
}

int sdwrap_sys_clean(void *arg) {
  note("sdwrap_sys_clean %s", arg == nullptr ? "null" : "arg");
  return static_cast<int>(scripted_error("sdwrap_sys_clean"));
}
