// SPDX-License-Identifier: Apache-2.0
#include <cstdlib>
#include <cstring>

#include "tests/platform/platform.h"

namespace platform_test {
namespace {

// The scalar globals as they were at load time.
struct LoadTimeGlobals {
  sch_email_transport email = email_transport_conf;
  sch_log_file_rec log_file = sch_log_file;
  sch_config_key log_file_key = sch_log_file_key;
  int32_t enabled = scheduler_enabled;
};

const LoadTimeGlobals load_time;

void clear_jobs(sch_job_entry *jobs) {
  for (int i = 0; i < SCH_MAX_JOBS; ++i) {
    g_list_free(jobs[i].fragments);
    g_list_free(jobs[i].status_list);
    jobs[i] = {};
  }
}

void clear_list(GList **list) {
  g_list_free(*list);
  *list = nullptr;
}

template <typename... Buffer>
void clear_text(Buffer &...buffers) {
  (std::memset(buffers, 0, sizeof buffers), ...);
}

}  // namespace

// The records themselves belong to the tracker, whose reset frees them; a test may also have linked its own.
void reset_library() {
  sch_running_config = {sch_job_list, &sch_schedule_list};
  sch_startup_config = {startup_job_list, &startup_schedule_list};
  clear_jobs(sch_job_list);
  clear_jobs(startup_job_list);
  clear_list(&sch_schedule_list);
  clear_list(&startup_schedule_list);
  clear_list(&sch_schedule_email_list);
  email_transport_conf = load_time.email;
  sch_log_file = load_time.log_file;
  sch_log_file_key = load_time.log_file_key;
  scheduler_enabled = load_time.enabled;
  cli_debug = 0;
  debug_level = 0;
  clear_text(cfg_line, sch_pss_running_uri, sch_pss_running_db_uri, sch_debug_pss_running_uri, sch_pss_startup_uri,
             sch_debug_pss_startup_uri);
  pss_running = pss_running_db = debug_pss_running = 0;
}

void set_zone(const char *tz) {
  setenv("TZ", tz, 1);
  tzset();
}

void PlatformTest::SetUp() {
  reset_library();
  fake.reset();
  set_zone("UTC");
}

void PlatformTest::TearDown() {
  reset_library();
  fake.reset();
  fake.scripted_libc = false;
}

}  // namespace platform_test
