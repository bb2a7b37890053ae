// SPDX-License-Identifier: Apache-2.0
#include "tests/platform/embed.h"

#include "tests/platform/state.h"

using namespace platform_test;

void platform_reset(void) {
  fake.reset();
}

int platform_live_blocks(void) {
  return fake.live_blocks();
}

void platform_fail_next_allocation(void) {
  fake.alloc.nth = fake.alloc.calls + 1;
}

size_t platform_request_count(void) {
  return fake.requests.size();
}

const void *platform_last_request(uint32_t *length) {
  if (fake.requests.empty()) return nullptr;
  *length = static_cast<uint32_t>(fake.requests.back().bytes.size());
  return fake.requests.back().bytes.data();
}

void platform_answer(uint32_t status, const void *reply, uint32_t length) {
  Reply answer = Reply::with(bytes_of(reply, length), status);
  answer.null = reply == nullptr;
  fake.replies.push_back(answer);
}

void platform_stream(const void *message, uint32_t length) {
  fake.messages.push_back(bytes_of(message, length));
}

size_t platform_store_records(const char *uri) {
  const auto found = fake.stores.find(uri);
  return found == fake.stores.end() ? 0 : found->second.records.size();
}

const char *platform_text_of_element(uint32_t element) {
  return interned(fake.acfg_text(element));
}

const char *platform_last_system_message(void) {
  return fake.syslog.empty() ? "" : fake.syslog.back().second.c_str();
}

size_t platform_trace_count(void) {
  return fake.history.size();
}
