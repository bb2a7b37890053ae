// SPDX-License-Identifier: Apache-2.0
// Every store call and every allocation of each operation fails, the nth alone and from the nth on: nothing crashes,
// the result is one that is documented, nothing in memory is half-changed.
#include <functional>

#include "tests/pss/records.h"

using namespace pss_test;
using platform_test::Fault;

namespace {

constexpr const char *debug = "running:scheduler_debug_runtime";
constexpr uint32_t broken = 0x40480009;

std::string memory() {
  std::string all = hex(&email_transport_conf, sizeof email_transport_conf) + hex(&sch_log_file, sizeof sch_log_file);
  for (const sch_job_entry &slot : sch_job_list) {
    if (slot.key == nullptr) continue;
    all += slot.key->name + hex(slot.hdr, sizeof *slot.hdr) + std::to_string(g_list_length(slot.fragments));
    for (GList *node = slot.status_list; node != nullptr; node = node->next)
      all += hex(node->data, 44);
  }
  for (GList *node = sch_schedule_list; node != nullptr; node = node->next) {
    const auto *entry = static_cast<sch_schedule_entry *>(node->data);
    all += hex(entry->key, 40) + hex(entry->rec, 144);
  }
  for (GList *node = sch_schedule_email_list; node != nullptr; node = node->next)
    all += hex(node->data, 716);
  return all;
}

// Two schedules with mail, a job of three fragments with a history, one of one fragment, all settings.
void fill() {
  add_schedule(sch_running_config, "s1", {});
  add_schedule(sch_running_config, "s2", {});
  sch_job_entry *big = add_job(sch_running_config, 4, "big", job_text(2500));
  add_job(sch_running_config, 9, "small", "show clock\n");
  add_status(*big, 4, "s1", 1, 2);
  add_status(*big, 4, "s2", 3, 4);
  sch_add_schedule_email_entry(&sch_schedule_email_list, "s1", "a@x.net");
}

void save_everything(const std::string &config_uri, const std::string &db_uri) {
  const pss_handle store = open_store(config_uri);
  sch_save_config_to_pss(&sch_running_config, store);
  sch_save_schedule_email_entry_to_pss(store, static_cast<sch_schedule_email_entry *>(sch_schedule_email_list->data));
  sch_save_email_from_conf_to_pss(store, &email_transport_conf);
  sch_save_email_replyto_conf_to_pss(store, &email_transport_conf);
  sch_save_email_smtpserver_conf_to_pss(store, &email_transport_conf);
  const sch_config_key enable{SCH_CONFIG_ENABLE, 0, ""};
  sch_save_condition_entry_to_pss(store, &enable, config_uri == running_uri ? 1 : 0);
  sch_save_db_to_pss(&sch_running_config, open_store(db_uri));
}

struct Operation {
  const char *what;
  bool starts_empty;  // a restore; else memory is filled and stays as it is
  std::vector<int> results;
  std::function<int()> run;
};

sch_job_entry *big_job() {
  return &sch_job_list[4];
}

const sch_schedule_email_entry *first_mail() {
  return static_cast<const sch_schedule_email_entry *>(sch_schedule_email_list->data);
}

const std::vector<Operation> operations = {
    {"uri_init", false, {0}, [] { return sch_pss_uri_init(); }},
    {"create", false, {0, 65}, [] { return sch_pss_create("new", 1024, 1024, 40); }},
    {"init stateful", true, {0, 66}, [] { return sch_pss_init(); }},
    {"init stateless", true, {0, 66}, [] { return fake.stateless = true, sch_pss_init(); }},
    {"close", false, {0}, [] { return sch_pss_close_handles(nullptr); }},
    {"save config", false, {0}, [] { return sch_save_config_to_pss(&sch_running_config, pss_running); }},
    {"save job", false, {0, -1}, [] { return sch_save_job_entry_to_pss(pss_running, big_job()); }},
    {"delete job", false, {0}, [] { return sch_delete_job_entry_from_pss(pss_running, big_job()); }},
    {"save statuses", false, {0}, [] { return sch_save_db_to_pss(&sch_running_config, pss_running_db); }},
    {"restore config", true, {0}, [] { return sch_restore_config_from_pss(&sch_running_config, pss_running); }},
    {"restore db", true, {0}, [] { return sch_restore_db_from_pss(&sch_running_config, pss_running_db); }},
    {"snapshot", false, {0, -1}, [] { return sch_pss_snapshot(running_uri, "copy"); }},
    {"save from", false, {0, -1}, [] { return sch_save_email_from_conf_to_pss(pss_running, &email_transport_conf); }},
    {"save mail", false, {0, -1}, [] { return sch_save_schedule_email_entry_to_pss(pss_running, first_mail()); }},
    {"forget mail", false, {0}, [] { return sch_delete_schedule_email_entry_from_pss(pss_running, first_mail()); }},
    {"save flag", false, {0, -1}, [] { return sch_save_condition_entry_to_pss(pss_running, &sch_log_file_key, 1); }},
    {"standby", false, {0, static_cast<int>(broken)}, [] { return sch_standby_pss_init(); }},
    {"standby rebuilt", false, {0, static_cast<int>(broken)}, [] { return sch_standby_pss_init_gsync_fail(); }},
    {"shrink", false, {0, static_cast<int>(broken)}, [] { return fake.free_space = 2, sch_pss_shrink(1); }},
};

class FaultsTest : public platform_test::PlatformTest {
 protected:
  void prepare(const Operation &operation) {
    platform_test::reset_library();
    fake.reset();
    fake.record_calls = false;
    sch_pss_uri_init();
    fill();
    save_everything(running_uri, running_db_uri);
    save_everything(startup_uri, "unused");
    fake.stores[debug];
    if (operation.starts_empty) {
      sch_free_config(&sch_running_config);
      platform_test::reset_library();
      sch_pss_uri_init();
    }
    pss_running = open_store(running_uri);
    pss_running_db = open_store(running_db_uri);
    debug_pss_running = open_store(debug);
  }

  void deny_sinks() { fake.history_allowed = fake.buginf_allowed = false; }

  // Until the operation no longer reaches its nth call; answers how many it has.
  int fail_each(const Operation &operation, Fault platform_test::Platform::*fault, bool from_then_on) {
    for (int nth = 1;; ++nth) {
      SCOPED_TRACE(std::string(operation.what) + " fails at " + std::to_string(nth));
      prepare(operation);
      const std::string before = memory();
      fake.*fault = {nth, from_then_on};
      const int result = operation.run();
      const int calls = (fake.*fault).calls;
      EXPECT_NE(std::find(operation.results.begin(), operation.results.end(), result), operation.results.end())
          << result;
      EXPECT_TRUE(operation.starts_empty || memory() == before);
      if (calls < nth) return nth - 1;
      if (::testing::Test::HasFailure()) return nth;
    }
  }
};

TEST_F(FaultsTest, each_store_call_may_fail_once_and_from_then_on) {
  for (const Operation &operation : operations) {
    const int calls = fail_each(operation, &platform_test::Platform::store, false);
    EXPECT_EQ(calls == 0, std::string(operation.what) == "uri_init") << operation.what;
    fail_each(operation, &platform_test::Platform::store, true);
  }
}

TEST_F(FaultsTest, each_allocation_may_fail_once_and_from_then_on) {
  for (const Operation &operation : operations) {
    const int calls = fail_each(operation, &platform_test::Platform::alloc, false);
    EXPECT_EQ(calls > 0, operation.starts_empty) << operation.what;
    fail_each(operation, &platform_test::Platform::alloc, true);
  }
}

TEST_F(FaultsTest, sinks_that_are_not_allowed_get_nothing_whatever_fails) {
  for (const Operation &operation : operations) {
    SCOPED_TRACE(operation.what);
    for (int nth = 1, reached = 1; nth <= reached + 1; ++nth) {
      prepare(operation);
      fake.history.clear();
      fake.buginf.clear();
      deny_sinks();
      fake.store = {nth, false};
      operation.run();
      reached = fake.store.calls;
      EXPECT_TRUE(fake.history.empty());
      EXPECT_TRUE(fake.buginf.empty());
    }
  }
}

TEST_F(FaultsTest, deleting_statuses_empties_the_list_whatever_fails) {
  for (int nth = 1; nth <= 3; ++nth) {
    prepare(operations[5]);
    if (nth == 1) deny_sinks();
    fake.store = {nth, true};
    EXPECT_EQ(sch_delete_all_status_for_job_from_pss(pss_running_db, big_job()), 0);
    EXPECT_EQ(big_job()->status_list, nullptr);
    EXPECT_EQ(fake.store.calls, 2);
  }
}

TEST_F(FaultsTest, success_of_every_save_means_that_the_store_took_every_record) {
  for (int nth = 1; nth <= 5; ++nth) {
    prepare(operations[6]);
    fake.store = {nth, false};
    const int result = sch_save_job_entry_to_pss(pss_running, big_job());
    EXPECT_EQ(result == 0, nth == 5) << "header and three fragments are four calls";
  }
}

TEST_F(FaultsTest, operation_that_failed_succeeds_when_it_is_repeated) {
  for (int nth = 1; nth <= 12; ++nth) {
    SCOPED_TRACE(nth);
    prepare(operations[2]);
    fake.store = {nth, false};
    sch_pss_init();
    fake.store = {};
    sch_free_config(&sch_running_config);
    EXPECT_EQ(sch_pss_init(), 0);
    EXPECT_EQ(g_list_length(sch_schedule_list), 2u);
    EXPECT_EQ(g_list_length(big_job()->fragments), 3u);
    EXPECT_EQ(g_list_length(big_job()->status_list), 2u);
  }
}

}  // namespace
