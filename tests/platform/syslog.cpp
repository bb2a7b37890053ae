// SPDX-License-Identifier: Apache-2.0
#include "platform/syslog.h"

#include "tests/platform/state.h"

using namespace platform_test;

int tarn_syslog(int priority, const char *format, ...) {
  va_list arguments;
  va_start(arguments, format);
  fake.syslog.emplace_back(priority, format_text(format, arguments));
  va_end(arguments);
  fake.syslog_formats.emplace_back(format);
  note("tarn_syslog %d %s", priority, fake.syslog.back().second.c_str());
  return 0;
}
