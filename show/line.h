// SPDX-License-Identifier: Apache-2.0
// Lines that several show commands print.
#pragma once

#include "schedcli.h"

namespace show {

inline constexpr int rule_width = 78;

void print_rule();  // closes each job, schedule and log entry

// Underlines a label of `label_width` hyphens and the name behind it.
void print_underline(int label_width, const char *name, size_t name_size);

// `length` bytes as they are; nothing when it is below 1.
void print_bytes(const char *bytes, int32_t length);

// As ctime() formats it, with the newline at its end.
void print_time(time_t when);

inline constexpr size_t time_text_size = 26;  // ctime_r's fixed need
const char *time_text(time_t when, char (&text)[time_text_size]);

}  // namespace show
