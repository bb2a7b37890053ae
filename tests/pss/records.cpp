// SPDX-License-Identifier: Apache-2.0
#include "tests/pss/records.h"

#include <cstring>

namespace pss_test {
namespace {

// Allocated by the memory tracker, by which the library frees it.
template <class Record>
Record *make() {
  return static_cast<Record *>(sch_malloc_check(sizeof(Record), 99, 0, "test"));
}

sch_config_key *make_key(uint32_t type, const std::string &name) {
  auto *key = make<sch_config_key>();
  key->type = type;
  set_text(key->name, sizeof key->name, name);
  return key;
}

}  // namespace

std::string zeros(size_t bytes) {
  return std::string(2 * bytes, '0');
}

std::string padded(const std::string &text, size_t bytes) {
  return hex(text.data(), text.size()) + zeros(bytes - text.size());
}

std::string key_hex(uint32_t type, uint32_t second, const std::string &name) {
  char words[17];
  std::snprintf(words, sizeof words, "%08x%08x", type, second);
  return words + padded(name, 32);
}

std::string stored(pss_handle store, const std::string &key, const std::string &value) {
  return "pss_store " + std::to_string(store) + " key=" + key + " value=" + value;
}

pss_handle open_store(const std::string &uri) {
  fake.stores[uri];
  fake.open_stores[++fake.last_handle] = uri;
  return fake.last_handle;
}

void put(const std::string &uri, const std::string &key_hex, const std::string &value_hex) {
  fake.stores[uri].records[unhex(key_hex)] = unhex(value_hex);
}

void fill_store(const std::string &uri, const std::string &schedule) {
  put(uri, key_hex(0, 0, schedule), zeros(144));
  put(uri, key_hex(1, 0, "job"), "030000000000000002000000");
  put(uri, key_hex(1, 1, "job"), "780a");
  put(uri, key_hex(2, 0, ""), "01000000");
  put(uri, key_hex(3, 0, ""), padded("restored.dat", 256) + "00400000" + zeros(12) + padded("NONE", 256) + zeros(4));
  put(uri, key_hex(5, 0, ""), padded("from@x.net", 64));
  put(uri, key_hex(8, 0, schedule),
      padded(schedule, 32) + "01000000" + padded("a@x.net", 64) + "01000000" + zeros(9 * 68));
}

sch_job_entry *add_job(sch_config_db &config, int slot, const std::string &name, const std::string &text) {
  sch_job_entry &job = config.jobs[slot];
  job.key = make_key(SCH_CONFIG_JOB, name);
  job.hdr = make<sch_job_hdr>();
  *job.hdr = {static_cast<uint32_t>(slot), 0x11223344, static_cast<uint32_t>(text.size())};
  for (size_t at = 0; at < text.size(); at += SCH_FRAGMENT_SIZE) {
    const std::string piece = text.substr(at, SCH_FRAGMENT_SIZE);
    void *fragment = sch_malloc_check(static_cast<uint32_t>(piece.size()), 7, 0, "test");
    std::memcpy(fragment, piece.data(), piece.size());
    job.fragments = g_list_append(job.fragments, fragment);
  }
  return &job;
}

sch_schedule_entry *add_schedule(sch_config_db &config, const std::string &name, const sch_schedule_rec &rec) {
  auto *entry = make<sch_schedule_entry>();
  entry->key = make_key(SCH_CONFIG_SCHEDULE, name);
  entry->rec = make<sch_schedule_rec>();
  *entry->rec = rec;
  *config.schedules = g_list_append(*config.schedules, entry);
  return entry;
}

sch_runtime_job_status *add_status(sch_job_entry &slot, uint32_t job_id, const std::string &schedule, uint32_t first,
                                   uint32_t second) {
  auto *status = make<sch_runtime_job_status>();
  set_text(status->schedule_name, sizeof status->schedule_name, schedule);
  status->job_id = job_id;
  status->words[0] = first;
  status->words[1] = second;
  slot.status_list = g_list_append(slot.status_list, status);
  return status;
}

sch_schedule_email_entry email_entry(const std::string &schedule, const std::vector<std::string> &addresses) {
  sch_schedule_email_entry entry{};
  set_text(entry.schedule_name, sizeof entry.schedule_name, schedule);
  entry.count = static_cast<int32_t>(addresses.size());
  for (size_t i = 0; i < addresses.size(); ++i) {
    set_text(entry.slots[i].address, sizeof entry.slots[i].address, addresses[i]);
    entry.slots[i].in_use = 1;
  }
  return entry;
}

void set_text(char *field, size_t size, const std::string &text) {
  std::memset(field, 0, size);
  std::memcpy(field, text.data(), std::min(size, text.size()));
}

std::string job_text(size_t length) {
  std::string text;
  for (int line = 1; text.size() < length; ++line)
    text += "show line " + std::to_string(line) + "\n";
  text.resize(length);
  return text;
}

}  // namespace pss_test
