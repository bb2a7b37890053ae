/* SPDX-License-Identifier: Apache-2.0 */
/* A program as an integrator writes it: C11, the public header, the library, a platform. Every subsystem works once. */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include "platform/memory.h"
#include "schedcli_requests.h"
#include "tests/platform/embed.h"

static int failures;

#define CHECK(condition)                                                            \
  do {                                                                              \
    if (!(condition)) {                                                             \
      fprintf(stderr, "%s:%d: %s does not hold\n", __FILE__, __LINE__, #condition); \
      ++failures;                                                                   \
    }                                                                               \
  } while (0)

#define CHECK_TEXT(actual, expected)                                                                 \
  do {                                                                                               \
    const char *actual_text = (actual);                                                              \
    if (strcmp(actual_text, (expected)) != 0) {                                                      \
      fprintf(stderr, "%s:%d: \"%s\" is not \"%s\"\n", __FILE__, __LINE__, actual_text, (expected)); \
      ++failures;                                                                                    \
    }                                                                                                \
  } while (0)

/* What a call printed, from a file in place of the stream. */
static char printed[4096];

static int divert(FILE *stream, FILE *file) {
  int original;
  fflush(stream);
  original = dup(fileno(stream));
  dup2(fileno(file), fileno(stream));
  return original;
}

static void restore(FILE *stream, FILE *file, int original) {
  size_t length;
  fflush(stream);
  dup2(original, fileno(stream));
  close(original);
  rewind(file);
  length = fread(printed, 1, sizeof printed - 1, file);
  printed[length] = '\0';
  fclose(file);
}

#define PRINTED(stream, call)                      \
  do {                                             \
    FILE *divert_file = tmpfile();                 \
    int divert_fd = divert((stream), divert_file); \
    call;                                          \
    restore((stream), divert_file, divert_fd);     \
  } while (0)

static sch_cli_cmd_ctx context(sch_cli_param *const *params, uint8_t count) {
  sch_cli_cmd_ctx ctx;
  memset(&ctx, 0, sizeof ctx);
  ctx.param_count = count;
  ctx.shell_handle = 42;
  strcpy(ctx.user_name, "admin");
  strcpy(ctx.peer_name, "console");
  ctx.params = params;
  return ctx;
}

static sch_cli_param text_param(const char *text) {
  sch_cli_param param;
  memset(&param, 0, sizeof param);
  param.kind = SCH_PARAM_STRING;
  param.value = text;
  return param;
}

static void diagnostics_report_exhausted_memory(void) {
  void *block = sch_malloc_check(40, 5, 0, "add config entry");
  CHECK(block != NULL && memcmp(block, (char[40]){0}, 40) == 0);
  mtrack_free(block);
  platform_fail_next_allocation();
  CHECK(sch_malloc_check(40, 5, 0, "add config entry") == NULL);
  CHECK_TEXT(platform_last_system_message(), "<<%SCHEDULER-2-SCH_SYSLOG_MALLOC_ERR>> Out of memory: add config entry");
  sch_syslog_raise(&syslog_msg_SCH_SYSLOG_PSS_ERR, "Open", "here", 7);
  CHECK_TEXT(platform_last_system_message(), "<<%SCHEDULER-3-SCH_SYSLOG_PSS_ERR>> Purpose:Open URI:here Error:7");
  CHECK(platform_live_blocks() == 0);
}

static void add_record(uint32_t type, uint32_t fragment, const char *name, const void *value, uint32_t length) {
  sch_config_key key;
  pss_buf key_buf, value_buf;
  char copy[256];
  memset(&key, 0, sizeof key);
  key.type = type;
  key.fragment = fragment;
  strcpy(key.name, name);
  sch_hton_config_key(&key);
  memcpy(copy, value, length);
  key_buf.data = &key;
  key_buf.length = sizeof key;
  value_buf.data = copy;
  value_buf.length = length;
  CHECK(sch_add_config_entry(&sch_running_config, &key_buf, &value_buf) == 0);
}

/* One job of two lines, one daily schedule with it and one address. */
static void fill_database(void) {
  static const char text[] = "first\nsecond\n";
  sch_job_hdr hdr = {3, 0, sizeof text - 1};
  sch_schedule_rec rec;
  memset(&rec, 0, sizeof rec);
  rec.jobs[0] = 1u << 3;
  rec.time.type = SCH_SCHEDULE_DAILY;
  rec.time.hour = 23;
  rec.time.minute = 30;
  add_record(SCH_CONFIG_JOB, 0, "backup", &hdr, sizeof hdr);
  add_record(SCH_CONFIG_JOB, 1, "backup", text, sizeof text - 1);
  add_record(SCH_CONFIG_SCHEDULE, 0, "nightly", &rec, sizeof rec);
  CHECK(sch_add_schedule_email_entry(&sch_schedule_email_list, "nightly", "ops@example.net") == 0);
}

static void free_database(void) {
  sch_free_config(&sch_running_config);
  while (sch_schedule_email_list != NULL) {
    mtrack_free(sch_schedule_email_list->data);
    sch_schedule_email_list = g_list_delete_link(sch_schedule_email_list, sch_schedule_email_list);
  }
}

static void database_keeps_what_it_is_given(void) {
  char text[16] = "";
  sch_job_entry *job;
  sch_schedule_entry *schedule;
  sch_schedule_email_entry *email;
  int index = 0;
  fill_database();
  CHECK(sch_find_job(&sch_running_config, "backup", &job) == 3);
  CHECK(job == &sch_job_list[3]);
  CHECK(sch_next_job(&sch_running_config, &index) == job && index == 3);
  CHECK(sch_concat_fragments(job->fragments, text, (int32_t)job->hdr->length) == 0);
  CHECK_TEXT(text, "first\nsecond\n");
  CHECK(sch_first_empty_job_list_entry_index(&sch_running_config) == 0);
  CHECK(sch_find_schedule(&sch_running_config, "nightly", &schedule) == 0 && schedule->rec->time.hour == 23);
  CHECK(sch_find_schedule_email_entry(&sch_schedule_email_list, "nightly", &email) == 0 && email->count == 1);
  free_database();
  CHECK(platform_live_blocks() == 0);
}

static void times_are_read_and_computed(void) {
  sch_tminfo record;
  sch_timeval interval = {-1, -1};
  time_t next = 0, now = time(NULL);
  memset(&record, 0, sizeof record);
  CHECK(sch_parse_str_to_tminfo("Mon:10:05", &record) == 0);
  CHECK(record.day_of_week == 2 && record.hour == 10 && record.minute == 5);
  record.type = SCH_SCHEDULE_WEEKLY;
  CHECK(sch_verify_tminfo(&record) == 0);
  CHECK(sch_compute_timer_interval(&record, &interval, &next) == 0);
  CHECK(next >= now && next <= now + 8 * 86400);
  CHECK(interval.seconds >= 0 && interval.microseconds == 0);
  CHECK(normalize_day_of_month(128, 1, 30) == 29);
  record.hour = 24;
  CHECK(sch_verify_tminfo(&record) == SCH_ERR_INVALID_TIME);
}

static void commands_send_their_requests(void) {
  sch_cli_param name = text_param("backup"), bad = text_param("-backup");
  sch_cli_param *params[] = {&name};
  sch_cli_param *bad_params[] = {&bad};
  sch_cli_cmd_ctx ctx = context(params, 1);
  uint32_t length = 0;
  const char *request;
  CHECK(sch_cli_create_delete_job(&ctx) == 0);
  request = platform_last_request(&length);
  CHECK(length == 56 && memcmp(request, (uint32_t[2]){SCH_OP_CREATE_JOB, 48}, 8) == 0);
  CHECK_TEXT(request + 16, "backup");
  platform_answer(SCH_STATUS_EXISTS, NULL, 0);
  PRINTED(stderr, CHECK(sch_cli_create_delete_job(&ctx) == 255));
  CHECK_TEXT(printed, "Error: job exists\n");
  ctx.params = bad_params;
  PRINTED(stderr, CHECK(sch_cli_create_delete_job(&ctx) == 255));
  CHECK_TEXT(printed, "Invalid name. Name should begin with alphanumeric and may have '_' or '-'.\n");
  CHECK(platform_request_count() == 2);
}

static void stores_keep_the_configuration_over_a_restart(void) {
  CHECK(sch_pss_uri_init() == 0);
  CHECK(sch_pss_init() == 0);
  fill_database();
  CHECK(sch_save_config_to_pss(&sch_running_config, pss_running) == 0);
  CHECK(platform_store_records(sch_pss_running_uri) == 4); /* header, fragment, schedule, log file */
  free_database();
  CHECK(sch_pss_close_handles(NULL) == 0);
  CHECK(sch_pss_init() == 0);
  CHECK(sch_job_list[3].key != NULL && strcmp(sch_job_list[3].key->name, "backup") == 0);
  CHECK(g_list_length(sch_schedule_list) == 1);
  CHECK(sch_pss_snapshot(sch_pss_running_uri, sch_pss_startup_uri) == 0);
  CHECK(platform_store_records(sch_pss_startup_uri) == 4);
  free_database();
  CHECK(sch_pss_close_handles(NULL) == 0);
}

static void show_prints_what_the_service_answers(void) {
  struct {
    sch_show_job_reply fixed;
    char text[6];
  } reply;
  sch_cli_cmd_ctx ctx = context(NULL, 0);
  uint32_t length = 0;
  memset(&reply, 0, sizeof reply);
  strcpy(reply.fixed.name, "backup");
  reply.fixed.job_id = 3;
  reply.fixed.length = 6;
  memcpy(reply.text, "first\n", 6);
  platform_answer(0, &reply, (uint32_t)sizeof reply.fixed + 6);
  PRINTED(stdout, CHECK(sch_cli_show_jobs(&ctx) == 0));
  CHECK_TEXT(printed,
             "Job Name: backup\n----------------\nfirst\n"
             "==============================================================================\n");
  CHECK(memcmp((const char *)platform_last_request(&length) + 44, (int32_t[1]){3}, 4) == 0 && length == 48);
}

static void log_is_streamed(void) {
  struct {
    sch_log_entry fixed;
    char output[3];
  } message;
  sch_cli_cmd_ctx ctx = context(NULL, 0);
  memset(&message, 0, sizeof message);
  message.fixed.count = message.fixed.number = 1;
  strcpy(message.fixed.job, "backup");
  message.fixed.total_length = 3;
  message.fixed.piece_length = 3;
  memcpy(message.output, "ok\n", 3);
  platform_stream(&message, (uint32_t)sizeof message.fixed + 3);
  PRINTED(stdout, CHECK(sch_cli_show_logfile(&ctx) == 0));
  CHECK(strncmp(printed, "Job Name       : backup  ", 25) == 0);
  CHECK(strstr(printed, "\nok\n====") != NULL);
}

static void configuration_comes_out_as_text(void) {
  acfg_hdl handle = {NULL};
  fill_database();
  CHECK(sch_acfg_gen(&sch_running_config, &handle, 0) == 0);
  CHECK_TEXT(platform_text_of_element(3), "feature scheduler\n");
  CHECK_TEXT(platform_text_of_element(1),
             "scheduler job name backup\nfirst\nsecond\nend-job\n\n"
             "scheduler schedule name nightly\njob name backup\n  time daily 23:30\nemail-addr ops@example.net\n\n");
  free_database();
  CHECK(platform_live_blocks() == 0);
}

int main(void) {
  static void (*const scenarios[])(void) = {diagnostics_report_exhausted_memory,
                                            database_keeps_what_it_is_given,
                                            times_are_read_and_computed,
                                            commands_send_their_requests,
                                            stores_keep_the_configuration_over_a_restart,
                                            show_prints_what_the_service_answers,
                                            log_is_streamed,
                                            configuration_comes_out_as_text};
  size_t i;
  for (i = 0; i < sizeof scenarios / sizeof scenarios[0]; ++i) {
    platform_reset();
    scenarios[i]();
  }
  CHECK(platform_trace_count() > 0);
  printf("%zu scenarios, %d failures\n", i, failures);
  return failures == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
