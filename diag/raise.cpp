// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cctype>
#include <cstdarg>
#include <cstring>

#include "platform/syslog.h"
#include "schedcli.h"

namespace {

char upper_name[64];  // far more than any facility's name; shared by all callers

void fill_upper_name(const char *name) {
  const size_t length = std::min(strlen(name), sizeof upper_name - 1);
  for (size_t i = length; i-- > 0;)
    upper_name[i] = static_cast<char>(toupper(static_cast<unsigned char>(name[i])));
  upper_name[length] = '\0';
}

// The conversions of a format, one letter each: "sd" for "%s-%d".
constexpr size_t max_conversions = 8;

void list_conversions(const char *format, char (&letters)[max_conversions]) {
  size_t count = 0;
  for (const char *at = strchr(format, '%'); at != nullptr && at[1] != '\0'; at = strchr(at + 2, '%'))
    if (at[1] != '%' && count < max_conversions - 1) letters[count++] = at[1];
  letters[count] = '\0';
}

enum class shape { none, text, two_texts, text_number, two_texts_number, unknown };

// Every format begins with the facility's name and the severity; its own arguments follow.
shape shape_of(const char *format) {
  static constexpr struct {
    const char *conversions;
    shape own;
  } shapes[] = {{"sd", shape::none},
                {"sds", shape::text},
                {"sdss", shape::two_texts},
                {"sdsd", shape::text_number},
                {"sdssd", shape::two_texts_number}};
  char letters[max_conversions];
  list_conversions(format, letters);
  for (const auto &row : shapes)
    if (strcmp(letters, row.conversions) == 0) return row.own;
  return shape::unknown;
}

// tarn_syslog() is variadic and formats the arguments itself, so each combination of conversions needs a call of its
// own.
void send(const sch_syslog_msg *msg, va_list arguments) {
  const shape own = shape_of(msg->format);
  const int severity = static_cast<int>(msg->severity);
  if (own == shape::unknown) return;
  if (own == shape::none) {
    tarn_syslog(severity, msg->format, upper_name, severity);
    return;
  }
  const char *first = va_arg(arguments, const char *);
  if (own == shape::text) {
    tarn_syslog(severity, msg->format, upper_name, severity, first);
    return;
  }
  if (own == shape::text_number) {
    tarn_syslog(severity, msg->format, upper_name, severity, first, va_arg(arguments, int));
    return;
  }
  const char *second = va_arg(arguments, const char *);
  if (own == shape::two_texts)
    tarn_syslog(severity, msg->format, upper_name, severity, first, second);
  else
    tarn_syslog(severity, msg->format, upper_name, severity, first, second, va_arg(arguments, int));
}

}  // namespace

void sch_syslog_raise(const sch_syslog_msg *msg, ...) {
  if (msg->facility->current_level < msg->severity) return;
  fill_upper_name(msg->facility->name);
  va_list arguments;
  va_start(arguments, msg);
  send(msg, arguments);
  va_end(arguments);
}
