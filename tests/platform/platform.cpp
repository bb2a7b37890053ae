// SPDX-License-Identifier: Apache-2.0
#include "tests/platform/platform.h"

#include <cstdlib>
#include <cstring>

#include "tests/platform/state.h"

namespace platform_test {

Platform fake;

bool Fault::fails() {
  ++calls;
  if (nth == 0) return false;
  return from_then_on ? calls >= nth : calls == nth;
}

void Platform::reset() {
  release_memory();
  release_cursors();
  release_messages();
  *this = Platform();
  scripted_libc = true;
}

int Platform::live_blocks() const {
  int blocks = 0;
  for (const auto &[type, count] : live)
    blocks += count;
  return blocks;
}

std::vector<std::string> Platform::calls_with(const std::string &prefix) const {
  std::vector<std::string> found;
  for (const auto &call : calls)
    if (call.starts_with(prefix)) found.push_back(call);
  return found;
}

std::vector<std::string> Platform::traces() const {
  std::vector<std::string> texts;
  for (const auto &event : history)
    texts.push_back(event.text);
  return texts;
}

std::vector<std::string> Platform::traces(uint32_t level) const {
  std::vector<std::string> texts;
  for (const auto &event : history)
    if (event.subtype == level) texts.push_back(event.text);
  return texts;
}

std::string Platform::acfg_text(uint32_t element) const {
  std::string text;
  for (const auto &line : acfg_lines)
    if (line.element == element) text += line.text;
  return text;
}

std::string format_text(const char *format, va_list arguments) {
  va_list copy;
  va_copy(copy, arguments);
  const int length = std::vsnprintf(nullptr, 0, format, copy);
  va_end(copy);
  std::string text(length < 0 ? 0 : static_cast<size_t>(length), '\0');
  std::vsnprintf(text.data(), text.size() + 1, format, arguments);
  return text;
}

void note(const char *format, ...) {
  if (!fake.record_calls) return;
  va_list arguments;
  va_start(arguments, format);
  fake.calls.push_back(format_text(format, arguments));
  va_end(arguments);
}

void note_trace(const char *format, ...) {
  if (!fake.record_traces) return;
  va_list arguments;
  va_start(arguments, format);
  fake.calls.push_back(format_text(format, arguments));
  va_end(arguments);
}

uint32_t scripted_error(const char *call) {
  const auto found = fake.errors.find(call);
  return found == fake.errors.end() ? 0 : found->second;
}

void *copy_for_caller(const std::string &bytes) {
  void *copy = nullptr;
  if (posix_memalign(&copy, alignof(std::max_align_t), bytes.size()) != 0) std::abort();
  std::memcpy(copy, bytes.data(), bytes.size());
  return copy;
}

std::string bytes_of(const void *data, size_t length) {
  return data == nullptr ? std::string() : std::string(static_cast<const char *>(data), length);
}

const char *or_null(const char *text) {
  return text == nullptr ? "(null)" : text;
}

const char *interned(std::string text) {
  static std::set<std::string> texts;
  return texts.insert(std::move(text)).first->c_str();
}

}  // namespace platform_test
