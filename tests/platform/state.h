// SPDX-License-Identifier: Apache-2.0
// What the scriptable platform keeps beside `fake`, and how its calls are noted and scripted.
#pragma once

#include <cstdarg>
#include <cstdint>
#include <string>

#include "tests/platform/platform.h"

namespace platform_test {

[[gnu::format(printf, 1, 2)]] void note(const char *format, ...);        // into fake.calls
[[gnu::format(printf, 1, 2)]] void note_trace(const char *format, ...);  // the same when fake.record_traces is set
[[gnu::format(printf, 1, 0)]] std::string format_text(const char *format, va_list arguments);
uint32_t scripted_error(const char *call);  // fake.errors of that call, 0: none

// A copy that a caller may give to free(); not by malloc, which tests make fail.
void *copy_for_caller(const std::string &bytes);
std::string bytes_of(const void *data, size_t length);
const char *or_null(const char *text);   // "(null)" for a null pointer
const char *interned(std::string text);  // lives as long as the process

void release_memory();
void release_cursors();
void release_messages();

}  // namespace platform_test
