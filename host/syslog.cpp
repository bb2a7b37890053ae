// SPDX-License-Identifier: Apache-2.0
#include "platform/syslog.h"

#include <syslog.h>

#include <cstdarg>
#include <cstdio>
#include <string>

#include "host/debug.h"

namespace {

struct Log {
  std::string program;  // kept here, as openlog() keeps the pointer
  bool foreground = false;
};

Log &log() {
  static auto &instance = *new Log;
  return instance;
}

void to_stderr(const char *format, va_list arguments) {
  std::fprintf(stderr, "%s: ", log().program.c_str());
  std::vfprintf(stderr, format, arguments);
  std::fputc('\n', stderr);
}

}  // namespace

extern "C" int tarn_syslog(int priority, const char *format, ...) {
  va_list arguments;
  if (log().foreground) {
    va_start(arguments, format);
    to_stderr(format, arguments);
    va_end(arguments);
  }
  va_start(arguments, format);
  vsyslog(LOG_DAEMON | (priority & LOG_PRIMASK), format, arguments);
  va_end(arguments);
  return 0;
}

namespace host {

void syslog_open(const char *program, bool foreground) {
  log().program = program;
  log().foreground = foreground;
  openlog(log().program.c_str(), LOG_PID, LOG_DAEMON);
  buginf_to_journal(!foreground);
}

}  // namespace host
