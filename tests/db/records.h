// SPDX-License-Identifier: Apache-2.0
// Records as the tests of the database make them, tracked as the library's own.
#pragma once

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "platform/memory.h"
#include "tests/platform/platform.h"

namespace db_test {

template <size_t size>
void set_text(char (&field)[size], const std::string &text) {
  std::memset(field, 0, size);
  std::memcpy(field, text.data(), std::min(size, text.size()));
}

inline sch_config_key *make_key(const std::string &name, uint32_t type = SCH_CONFIG_JOB, uint32_t fragment = 0) {
  auto *key = static_cast<sch_config_key *>(mtrack_alloc(224, 5, sizeof(sch_config_key)));
  *key = {type, fragment, {}};
  set_text(key->name, name);
  return key;
}

inline sch_job_hdr *make_hdr(uint32_t job_id, uint32_t length = 0, uint32_t carried = 0) {
  auto *hdr = static_cast<sch_job_hdr *>(mtrack_alloc(224, 6, sizeof(sch_job_hdr)));
  *hdr = {job_id, carried, length};
  return hdr;
}

inline char *make_fragment(const std::string &bytes) {
  auto *fragment = static_cast<char *>(mtrack_alloc(224, 7, static_cast<uint32_t>(bytes.size())));
  std::memcpy(fragment, bytes.data(), bytes.size());
  return fragment;
}

inline sch_runtime_job_status *make_status(uint32_t job_id, const std::string &schedule = "nightly") {
  auto *status = static_cast<sch_runtime_job_status *>(mtrack_alloc(224, 4, sizeof(sch_runtime_job_status)));
  *status = {{}, job_id, {1, 2}};
  set_text(status->schedule_name, schedule);
  return status;
}

// A job in its slot, through the library.
inline sch_job_entry *add_job(uint32_t job_id, const std::string &name, uint32_t length = 0) {
  sch_job_entry *slot = nullptr;
  sch_add_job_hdr(&sch_running_config, make_key(name), make_hdr(job_id, length), &slot);
  return slot;
}

inline sch_schedule_entry *add_schedule(const std::string &name) {
  auto *rec = static_cast<sch_schedule_rec *>(mtrack_alloc(224, 14, sizeof(sch_schedule_rec)));
  *rec = {};
  sch_schedule_entry *entry = nullptr;
  sch_add_schedule_entry(&sch_running_config, make_key(name, SCH_CONFIG_SCHEDULE), rec, &entry);
  return entry;
}

// A stored key: two big-endian words and the name.
inline std::string stored_key(uint32_t type, uint32_t fragment, const std::string &name) {
  std::string bytes;
  for (const uint32_t word : {type, fragment})
    for (const int shift : {24, 16, 8, 0})
      bytes += static_cast<char>(word >> shift & 0xff);
  bytes += name;
  bytes.resize(40);
  return bytes;
}

inline std::string bytes_of_hdr(uint32_t job_id, uint32_t carried, uint32_t length) {
  const sch_job_hdr hdr = {job_id, carried, length};
  return std::string(reinterpret_cast<const char *>(&hdr), sizeof hdr);
}

// Hands in exact copies on the heap, so that a sanitizer sees a read beyond either.
inline int add_config_entry(const std::string &key, const std::string &value,
                            sch_config_db *config = &sch_running_config) {
  std::vector<char> key_bytes(key.begin(), key.end()), value_bytes(value.begin(), value.end());
  const pss_buf key_buf = {key_bytes.data(), static_cast<uint32_t>(key.size())};
  const pss_buf value_buf = {value_bytes.data(), static_cast<uint32_t>(value.size())};
  return sch_add_config_entry(config, &key_buf, &value_buf);
}

inline std::vector<void *> items(GList *list) {
  std::vector<void *> all;
  for (; list != nullptr; list = list->next)
    all.push_back(list->data);
  return all;
}

}  // namespace db_test
