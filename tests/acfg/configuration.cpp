// SPDX-License-Identifier: Apache-2.0
#include "tests/acfg/configuration.h"

#include <arpa/inet.h>

#include <algorithm>

using platform_test::fake;

namespace acfg_test {
namespace {

sch_config_key stored_key(uint32_t type, uint32_t fragment, const std::string &name) {
  sch_config_key key = {};
  key.type = htonl(type);
  key.fragment = htonl(fragment);
  put(key.name, name);
  return key;
}

void restore(sch_config_db *config, sch_config_key key, std::string value) {
  const pss_buf key_buf = {&key, sizeof key};
  const pss_buf value_buf = {value.data(), static_cast<uint32_t>(value.size())};
  ASSERT_EQ(sch_add_config_entry(config, &key_buf, &value_buf), 0);
}

template <typename Record>
std::string raw(const Record &record) {
  return {reinterpret_cast<const char *>(&record), sizeof record};
}

}  // namespace

sch_job_entry *add_job(sch_config_db *config, uint32_t id, const std::string &name, const std::string &text) {
  const sch_job_hdr hdr = {id, 0, static_cast<uint32_t>(text.size())};
  restore(config, stored_key(SCH_CONFIG_JOB, 0, name), raw(hdr));
  for (size_t at = 0; at < text.size(); at += SCH_FRAGMENT_SIZE) {
    const auto fragment = static_cast<uint32_t>(at / SCH_FRAGMENT_SIZE + 1);
    restore(config, stored_key(SCH_CONFIG_JOB, fragment, name), text.substr(at, SCH_FRAGMENT_SIZE));
  }
  return &config->jobs[id];
}

sch_schedule_entry *add_schedule(sch_config_db *config, const std::string &name, const sch_tminfo &time,
                                 const std::vector<int> &jobs) {
  sch_schedule_rec rec = {};
  rec.time = time;
  for (const int id : jobs)
    rec.jobs[id / 32] |= 1u << (id % 32);
  restore(config, stored_key(SCH_CONFIG_SCHEDULE, 0, name), raw(rec));
  return static_cast<sch_schedule_entry *>(g_list_last(*config->schedules)->data);
}

Lines lines() {
  Lines texts;
  for (const auto &line : fake.acfg_lines) {
    texts.push_back(std::to_string(line.element) + " " + std::to_string(line.indent) + " " + line.text);
  }
  return texts;
}

void hold_configuration() {
  const auto hold = [](const sch_config_key &key, const std::string &value) {
    fake.stores[startup_uri].records[raw(key)] = value;
  };
  hold(stored_key(SCH_CONFIG_JOB, 0, "backup"), raw(sch_job_hdr{3, 0, 5}));
  hold(stored_key(SCH_CONFIG_JOB, 1, "backup"), "copy\n");
  sch_schedule_rec rec = {};
  rec.jobs[0] = 1u << 3;
  rec.time = daily(23, 30);
  hold(stored_key(SCH_CONFIG_SCHEDULE, 0, "nightly"), raw(rec));
  hold(stored_key(SCH_CONFIG_ENABLE, 0, ""), raw(int32_t{0}));
  std::string log_file(532, '\0');
  log_file.replace(256, 4, raw(int32_t{32768}));
  hold(stored_key(SCH_CONFIG_LOG_FILE, 0, ""), log_file);
  hold(stored_key(SCH_CONFIG_EMAIL_FROM, 0, ""), "a@b");
  sch_schedule_email_entry entry = {};
  put(entry.schedule_name, "nightly");
  entry.count = 1;
  put(entry.slots[0].address, "ops@b");
  entry.slots[0].in_use = 1;
  hold(stored_key(SCH_CONFIG_SCHEDULE_EMAIL, 0, "nightly"), raw(entry));
}

void hold_level(const std::string &uri, const std::string &value_hex) {
  fake.stores[uri].records[platform_test::unhex("16000000")] = platform_test::unhex(value_hex);  // 22 in host order
}

int request(int type) {
  static int message, asked;
  fake.cfg_type = type;
  fake.calls.clear();
  fake.acfg_lines.clear();
  return sch_acfgcb_cfg_gen(&message, &asked);
}

}  // namespace acfg_test
