// SPDX-License-Identifier: Apache-2.0
// Memory to store to memory: whatever a configuration holds comes back, for a thousand seeded configurations.
#include <cstring>
#include <set>

#include "tests/pss/random.h"
#include "tests/pss/records.h"

using namespace pss_test;

namespace {

constexpr int configurations = 1000;

struct Image {  // everything that is stored, in an order that does not depend on the lists'
  std::map<int, std::string> jobs;
  std::map<std::string, std::string> schedules, emails;
  std::string settings;
  bool operator==(const Image &) const = default;
};

std::string bytes(const void *record, size_t size) {
  return {static_cast<const char *>(record), size};
}

std::string text_of(const sch_job_entry &slot) {
  std::string text(slot.hdr->length, '\0');
  sch_concat_fragments(slot.fragments, text.data(), static_cast<int32_t>(text.size()));
  return text;
}

std::string statuses_of(const sch_job_entry &slot) {
  std::set<std::string> all;
  for (const GList *node = slot.status_list; node != nullptr; node = node->next)
    all.insert(bytes(node->data, 44));
  std::string joined;
  for (const auto &status : all)
    joined += status + ";";
  return joined;
}

Image image_of_memory() {
  Image image;
  for (int id = 0; id < SCH_MAX_JOBS; ++id) {
    const sch_job_entry &slot = sch_job_list[id];
    if (slot.key == nullptr) continue;
    image.jobs[id] = bytes(slot.key->name, 32) + bytes(slot.hdr, 12) + text_of(slot) + statuses_of(slot);
  }
  for (const GList *node = sch_schedule_list; node != nullptr; node = node->next) {
    const auto *entry = static_cast<const sch_schedule_entry *>(node->data);
    image.schedules[bytes(entry->key, 40)] = bytes(entry->rec, 144);
  }
  for (const GList *node = sch_schedule_email_list; node != nullptr; node = node->next)
    image.emails[bytes(node->data, 32)] = bytes(node->data, 716);
  image.settings = bytes(&email_transport_conf, sizeof email_transport_conf) +
                   bytes(&sch_log_file.name, sizeof sch_log_file - 8) + std::to_string(scheduler_enabled);
  return image;
}

void fill_jobs(Random &random) {
  static constexpr int lengths[] = {0, 1, 2, 40, 1023, 1024, 1025, 2047, 2048, 2049, 3000, 5000};
  std::set<std::string> names;
  for (int count = random.from_to(0, 6); count > 0; --count) {
    const int slot = random.one_in(4) ? 255 : random.from_to(0, 255);
    const std::string name = random.name(32);
    if (sch_job_list[slot].key != nullptr || !names.insert(name).second) continue;
    sch_job_entry *job = add_job(sch_running_config, slot, name, random.bytes(random.pick(lengths)));
    job->hdr->carried = static_cast<uint32_t>(random.word());
    std::set<std::string> schedules;
    for (int runs = job->fragments == nullptr ? 0 : random.from_to(0, 3); runs > 0; --runs) {
      const std::string schedule = random.name(32);
      if (!schedules.insert(schedule).second) continue;
      add_status(*job, static_cast<uint32_t>(slot), schedule, static_cast<uint32_t>(random.word()),
                 static_cast<uint32_t>(random.word()));
    }
  }
}

void fill_schedules(Random &random) {
  std::set<std::string> names;
  for (int count = random.from_to(0, 6); count > 0; --count) {
    const std::string name = random.name(32);
    if (!names.insert(name).second) continue;
    sch_schedule_rec rec;
    std::memcpy(&rec, random.bytes(sizeof rec).data(), sizeof rec);
    add_schedule(sch_running_config, name, rec);
    if (random.one_in(2)) continue;
    sch_schedule_email_entry entry = email_entry(name, {});
    std::memcpy(&entry.count, random.bytes(684).data(), 684);
    sch_add_schedule_email_entry_from_pss(&sch_schedule_email_list, &entry);
  }
}

void fill_settings(Random &random) {
  if (random.one_in(4)) return;
  sch_email_transport &conf = email_transport_conf;
  set_text(conf.from, sizeof conf.from, random.name(64));
  set_text(conf.reply_to, sizeof conf.reply_to, random.name(64));
  std::memcpy(conf.reply_to_copy, conf.reply_to, sizeof conf.reply_to_copy);
  std::memcpy(&conf.smtp, random.bytes(sizeof conf.smtp).data(), sizeof conf.smtp);
  std::memcpy(sch_log_file.name, random.bytes(532).data(), 532);
  scheduler_enabled = static_cast<int32_t>(random.word());
}

// What the service does after each request, here for everything at once.
void save_everything(const std::string &config_uri, const std::string &db_uri) {
  const pss_handle store = open_store(config_uri), db = open_store(db_uri);
  ASSERT_EQ(sch_save_config_to_pss(&sch_running_config, store), 0);
  for (sch_job_entry &slot : sch_job_list) {
    if (slot.key == nullptr || slot.fragments != nullptr) continue;
    ASSERT_EQ(sch_save_job_entry_to_pss(store, &slot), 0) << "a job without text, which the whole save leaves out";
  }
  for (const GList *node = sch_schedule_email_list; node != nullptr; node = node->next)
    sch_save_schedule_email_entry_to_pss(store, static_cast<const sch_schedule_email_entry *>(node->data));
  sch_save_email_from_conf_to_pss(store, &email_transport_conf);
  sch_save_email_replyto_conf_to_pss(store, &email_transport_conf);
  sch_save_email_smtpserver_conf_to_pss(store, &email_transport_conf);
  const sch_config_key enable{SCH_CONFIG_ENABLE, 0, ""};
  sch_save_condition_entry_to_pss(store, &enable, scheduler_enabled);
  sch_save_db_to_pss(&sch_running_config, db);
}

class MemoryRoundTrip : public platform_test::PlatformTest {};

TEST_F(MemoryRoundTrip, random_configurations_come_back_equal_and_are_stored_equal_again) {
  size_t jobs = 0, schedules = 0;
  for (uint64_t seed = 1; seed <= configurations; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    platform_test::reset_library();
    fake.reset();
    fake.record_calls = fake.history_allowed = fake.buginf_allowed = false;
    Random random(seed);
    fill_jobs(random);
    fill_schedules(random);
    fill_settings(random);
    const Image before = image_of_memory();
    save_everything("config", "db");

    sch_free_config(&sch_running_config);
    platform_test::reset_library();
    ASSERT_EQ(sch_restore_config_from_pss(&sch_running_config, open_store("config")), 0);
    ASSERT_EQ(sch_restore_db_from_pss(&sch_running_config, open_store("db")), 0);
    ASSERT_EQ(image_of_memory(), before);

    save_everything("config again", "db again");
    ASSERT_EQ(fake.stores["config again"].records, fake.stores["config"].records);
    ASSERT_EQ(fake.stores["db again"].records, fake.stores["db"].records);
    jobs += before.jobs.size();
    schedules += before.schedules.size();
  }
  EXPECT_GT(jobs, 2u * configurations) << "the configurations are not empty ones";
  EXPECT_GT(schedules, 2u * configurations);
}

TEST_F(MemoryRoundTrip, full_job_table_comes_back) {
  for (int id = 0; id < SCH_MAX_JOBS; ++id)
    add_job(sch_running_config, id, "job-" + std::to_string(id), job_text(static_cast<size_t>(id) * 17 + 1));
  const Image before = image_of_memory();
  save_everything("config", "db");
  sch_free_config(&sch_running_config);
  sch_restore_config_from_pss(&sch_running_config, open_store("config"));
  EXPECT_EQ(image_of_memory(), before);
  EXPECT_EQ(before.jobs.size(), 256u);
}

}  // namespace
