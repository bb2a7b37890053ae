// SPDX-License-Identifier: Apache-2.0
// The library's own store calls on the real stores; each start of the service is a process.
#include <array>
#include <cstring>

#include "host/sysmgr.h"
#include "schedcli.h"
#include "tests/host/store_fixture.h"

namespace store_test {
namespace {

class LibraryStoreTest : public StoreTest {
 protected:
  ~LibraryStoreTest() override { unsetenv("SCHEDCLI_BOOT_ID"); }

  // One run of the service in boot `id`; the result of `body`, or 200 and up when it did not start.
  static int run(const char *id, const std::function<int()> &body) {
    setenv("SCHEDCLI_BOOT_ID", id, 1);
    return in_another_process([&body] {
      if (!host::sysmgr_prepare(host::BootFrom::startup) || !host::sysmgr_drop_running_configuration()) return 200;
      sch_pss_uri_init();
      if (sch_pss_init() != 0) return 201;
      if (!host::sysmgr_mark_started()) return 202;
      const int result = body();
      sch_pss_close_handles(nullptr);
      return result;
    });
  }

  static int add_job(const char *name, uint32_t id, const std::string &text) {
    const std::size_t pieces = (text.size() + SCH_FRAGMENT_SIZE - 1) / SCH_FRAGMENT_SIZE;
    for (uint32_t fragment = 0; fragment <= pieces; ++fragment) {
      sch_config_key key{SCH_CONFIG_JOB, fragment, {}};
      strncpy(key.name, name, sizeof key.name);
      sch_hton_config_key(&key);
      const sch_job_hdr header{id, 0, static_cast<uint32_t>(text.size())};
      const std::string piece = fragment == 0
                                    ? std::string(reinterpret_cast<const char *>(&header), sizeof header)
                                    : text.substr((fragment - 1) * std::size_t{SCH_FRAGMENT_SIZE}, SCH_FRAGMENT_SIZE);
      const pss_buf key_buffer{&key, sizeof key}, value_buffer = buffer(piece);
      sch_add_config_entry(&sch_running_config, &key_buffer, &value_buffer);
    }
    sch_job_entry *slot = nullptr;
    sch_find_job(&sch_running_config, name, &slot);
    return slot == nullptr ? -1 : sch_save_job_entry_to_pss(pss_running, slot);
  }

  static std::string job_text(const char *name) {
    sch_job_entry *slot = nullptr;
    sch_find_job(&sch_running_config, name, &slot);
    if (slot == nullptr || slot->hdr == nullptr) return "(none)";
    std::string text(slot->hdr->length + 1, '\0');
    sch_concat_fragments(slot->fragments, text.data(), static_cast<int32_t>(text.size()));
    text.resize(slot->hdr->length);
    return text;
  }

  static std::string text_of_pattern(std::size_t length) {
    std::string text;
    for (std::size_t i = 0; i < length; ++i)
      text += static_cast<char>('a' + i % 23);
    return text;
  }
};

TEST_F(LibraryStoreTest, first_start_makes_two_stores_with_the_schedulers_limits) {
  EXPECT_EQ(run("boot-1", [] { return 0; }), 0);
  const pss_handle store = open("running:scheduler_runtime");
  EXPECT_EQ(put(store, std::string(40, 'k'), std::string(1024, 'v')), 0U);
  EXPECT_EQ(put(store, std::string(41, 'k'), "v"), host::err_store_limit);
  EXPECT_EQ(put(store, "k", std::string(1025, 'v')), host::err_store_limit);
  EXPECT_TRUE(host::store_exists("running:scheduler_runtime_database"));
  EXPECT_FALSE(host::store_exists("startup:scheduler_startup"));
}

TEST_F(LibraryStoreTest, restart_restores_jobs_of_every_length_and_their_status) {
  const std::vector<std::size_t> lengths = {1, 1023, 1024, 1025, 2500, 20000};
  EXPECT_EQ(run("boot-1",
                [&lengths] {
                  for (uint32_t id = 0; id < lengths.size(); ++id) {
                    const std::string name = "job" + std::to_string(id);
                    if (add_job(name.c_str(), id, text_of_pattern(lengths[id])) != 0) return 1;
                  }
                  const sch_runtime_job_status status{"nightly", 2, {7, 9}};
                  return sch_save_runtime_job_status_entry_to_pss(pss_running_db, &status) == 0 ? 0 : 2;
                }),
            0);
  EXPECT_EQ(run("boot-1",
                [&lengths] {
                  for (uint32_t id = 0; id < lengths.size(); ++id) {
                    const std::string name = "job" + std::to_string(id);
                    if (job_text(name.c_str()) != text_of_pattern(lengths[id])) return 1;
                  }
                  const GList *list = sch_job_list[2].status_list;
                  if (g_list_length(const_cast<GList *>(list)) != 1) return 2;
                  const auto *status = static_cast<const sch_runtime_job_status *>(list->data);
                  return status->words[0] == 7 && status->words[1] == 9 ? 0 : 3;
                }),
            0);
}

TEST_F(LibraryStoreTest, boot_restores_the_snapshot_and_nothing_later_comes_back) {
  EXPECT_EQ(run("boot-1",
                [] {
                  add_job("saved", 0, "show clock\n");
                  if (sch_pss_snapshot(sch_pss_running_uri, sch_pss_startup_uri) != 0) return 1;
                  return add_job("unsaved", 1, "show version\n");
                }),
            0);
  const auto jobs = [] {
    return (job_text("saved") == "show clock\n" ? 1 : 0) | (job_text("unsaved") != "(none)" ? 2 : 0);
  };
  EXPECT_EQ(run("boot-1", jobs), 3);
  EXPECT_EQ(run("boot-2", jobs), 1);
  EXPECT_EQ(run("boot-2", jobs), 1);
}

TEST_F(LibraryStoreTest, boot_without_a_snapshot_loses_nothing) {
  EXPECT_EQ(run("boot-1", [] { return add_job("unsaved", 1, "show version\n"); }), 0);
  EXPECT_EQ(run("boot-2", [] { return job_text("unsaved") == "show version\n" ? 0 : 1; }), 0);
}

TEST_F(LibraryStoreTest, shrink_gives_space_back_and_the_handles_go_on) {
  EXPECT_EQ(run("boot-1",
                [] {
                  if (sch_pss_create(sch_debug_pss_running_uri, 1024, 1024, 40) != 0) return 1;
                  uint32_t error = 0;
                  debug_pss_running = pss_open(sch_debug_pss_running_uri, &error);
                  add_job("large", 0, text_of_pattern(60000));
                  sch_job_entry *slot = nullptr;
                  sch_find_job(&sch_running_config, "large", &slot);
                  sch_delete_job_entry_from_pss(pss_running, slot);
                  uint32_t before = 0, after = 0;
                  pss_free_space(pss_running, &before);
                  if (before < 60000) return 2;
                  if (sch_pss_shrink(0) != 0) return 3;
                  pss_free_space(pss_running, &after);
                  if (after != 0) return 4;
                  return add_job("small", 1, "show clock\n") == 0 ? 0 : 5;
                }),
            0);
  EXPECT_EQ(run("boot-1", [] { return job_text("small") == "show clock\n" ? 0 : 1; }), 0);
}

TEST_F(LibraryStoreTest, standby_creates_what_it_cannot_open_and_opens_what_is_there) {
  const auto standby = [] {
    sch_pss_uri_init();
    if (sch_standby_pss_init() != 0 || pss_running == 0 || pss_running_db == 0) return 1;
    return static_cast<int>(records(pss_running).size());
  };
  EXPECT_EQ(in_another_process(standby), 0);
  EXPECT_EQ(run("boot-1", [] { return add_job("job", 0, "show clock\n"); }), 0);
  EXPECT_EQ(in_another_process(standby), 2);
}

TEST_F(LibraryStoreTest, failed_synchronisation_empties_both_stores_under_their_open_handles) {
  EXPECT_EQ(run("boot-1",
                [] {
                  add_job("job", 0, "show clock\n");
                  const pss_handle old = pss_running;
                  if (sch_standby_pss_init_gsync_fail() != 0) return 1;
                  if (!records(pss_running).empty() || !records(pss_running_db).empty()) return 2;
                  if (put(old, "key", "value") != host::err_store_bad_handle) return 3;
                  return put(pss_running, std::string(41, 'k'), "v") == host::err_store_limit ? 0 : 4;
                }),
            0);
}

TEST_F(LibraryStoreTest, snapshot_of_an_absent_store_fails) {
  EXPECT_EQ(sch_pss_snapshot("running:absent", "startup:scheduler_startup"), -1);
  EXPECT_TRUE(std::filesystem::is_empty(directory));
}

TEST_F(LibraryStoreTest, damaged_running_store_stops_the_start) {
  write_file(host::store_path("running:scheduler_runtime"), "damaged");
  EXPECT_EQ(run("boot-1", [] { return 0; }), 201);
  EXPECT_EQ(file_content(host::store_path("running:scheduler_runtime")), "damaged");
}

}  // namespace
}  // namespace store_test
