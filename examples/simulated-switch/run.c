/* SPDX-License-Identifier: Apache-2.0 */
/*
 * Runs what is due and keeps the outcomes. The time is an argument: here the operator puts the clock forward, in a
 * product an event loop wakes up at next_due().
 */
#include <string.h>

#include "platform/bitset.h"
#include "switch.h"

/* Where a run's outcome stands among the words that the record leaves to the service. */
enum { WAIT_STATUS };

/* Of GByteArray: a sch_log_entry and the output behind it, as it will travel. */
static GPtrArray *job_log;

G_STATIC_ASSERT(sizeof(schedule_history) <= sizeof(((sch_schedule_rec *)0)->service_tail));

schedule_history history_of(const sch_schedule_entry *schedule) {
  schedule_history history;
  memcpy(&history, schedule->rec->service_tail, sizeof history);
  return history;
}

void set_history(sch_schedule_entry *schedule, const schedule_history *history) {
  memcpy(schedule->rec->service_tail, history, sizeof *history);
}

void arm(sch_schedule_entry *schedule) {
  sch_timeval interval;
  time_t due = 0;
  if (sch_compute_timer_interval(&schedule->rec->time, &interval, &due) != 0) due = 0;
  schedule->service[SCHEDULE_DUE] = (uintptr_t)due;
}

time_t next_due(void) {
  uintptr_t earliest = 0;
  const GList *node;
  for (node = sch_schedule_list; node != NULL; node = node->next) {
    const uintptr_t due = ((const sch_schedule_entry *)node->data)->service[SCHEDULE_DUE];
    if (due != 0 && (earliest == 0 || due < earliest)) earliest = due;
  }
  return (time_t)earliest;
}

static sch_runtime_job_status *find_outcome(const sch_job_entry *job, const char *schedule) {
  const GList *node;
  for (node = job->status_list; node != NULL; node = node->next) {
    sch_runtime_job_status *outcome = (sch_runtime_job_status *)node->data;
    if (strncmp(outcome->schedule_name, schedule, sizeof outcome->schedule_name) == 0) return outcome;
  }
  return NULL;
}

uint32_t wait_status_of(const sch_schedule_entry *schedule, int job_id) {
  const sch_runtime_job_status *outcome = find_outcome(&sch_job_list[job_id], schedule->key->name);
  return outcome != NULL ? outcome->words[WAIT_STATUS] : 0;
}

static void set_outcome(const sch_schedule_entry *schedule, sch_job_entry *job, uint32_t wait_status) {
  sch_runtime_job_status *outcome = find_outcome(job, schedule->key->name);
  if (outcome == NULL) {
    outcome = (sch_runtime_job_status *)sch_malloc_check(sizeof *outcome, SCH_MEMORY_JOB_STATUS, 0, "outcome of a run");
    if (outcome == NULL) return;
    memcpy(outcome->schedule_name, schedule->key->name, sizeof outcome->schedule_name);
    outcome->job_id = job->hdr->job_id;
    if (sch_add_runtime_job_status_entry(&sch_running_config, outcome) != 0) return;
  }
  outcome->words[WAIT_STATUS] = wait_status;
  sch_save_runtime_job_status_entry_to_pss(pss_running_db, outcome);
}

/* sch_delete_job_status_entry_from_pss() names another type of key: the record that was saved is deleted by hand. */
static void delete_outcome(sch_job_entry *job, sch_runtime_job_status *outcome) {
  sch_runtime_key key = {SCH_RUNTIME_STATUS, outcome->job_id, ""};
  const pss_buf stored_key = {&key, sizeof key};
  memcpy(key.name, outcome->schedule_name, sizeof key.name);
  sch_hton_runtime_key(&key);
  pss_delete(pss_running_db, &stored_key);
  job->status_list = g_list_remove(job->status_list, outcome);
  free_fragment(outcome, NULL);
}

void forget_outcomes(sch_job_entry *job, const char *schedule) {
  GList *node = job->status_list;
  while (node != NULL) {
    sch_runtime_job_status *outcome = (sch_runtime_job_status *)node->data;
    node = node->next;
    if (schedule == NULL || outcome == find_outcome(job, schedule)) delete_outcome(job, outcome);
  }
}

/* The lines one after the other, up to the first that fails. Returns the wait status: the exit code in bits 8 to 15. */
static uint32_t execute(const sch_job_entry *job, GString *output) {
  char *text = g_strnfill(job->hdr->length, '\0');
  char **lines, **line;
  int code = 0;
  sch_concat_fragments(job->fragments, text, (int32_t)job->hdr->length);
  lines = g_strsplit(text, "\n", -1);
  for (line = lines; *line != NULL && code == 0; ++line)
    if (**line != '\0') code = switch_execute(*line, output);
  g_strfreev(lines);
  g_free(text);
  return (uint32_t)code << 8;
}

static void log_run(const sch_schedule_entry *schedule, const sch_job_entry *job, uint32_t wait_status, time_t now,
                    const GString *output) {
  GByteArray *logged = g_byte_array_new();
  sch_log_entry entry;
  memset(&entry, 0, sizeof entry);
  memcpy(entry.job, job->key->name, sizeof entry.job);
  memcpy(entry.schedule, schedule->key->name, sizeof entry.schedule);
  memcpy(entry.user, history_of(schedule).user, SCH_NAME_SIZE);
  entry.wait_status = wait_status;
  entry.completion = (int32_t)now;
  entry.total_length = (int32_t)output->len;
  entry.piece_length = (uint32_t)output->len;
  g_byte_array_append(logged, (const guint8 *)&entry, sizeof entry);
  g_byte_array_append(logged, (const guint8 *)output->str, (guint)output->len);
  if (job_log == NULL) job_log = g_ptr_array_new();
  g_ptr_array_add(job_log, logged);
}

static void run_job(const sch_schedule_entry *schedule, sch_job_entry *job, time_t now) {
  GString *output = g_string_new(NULL);
  const uint32_t wait_status = execute(job, output);
  set_outcome(schedule, job, wait_status);
  log_run(schedule, job, wait_status, now, output);
  g_string_free(output, TRUE);
}

/* A simulated job takes no time. What repeats by a period goes on from last_run; everything else from the clock. */
static void run_schedule(sch_schedule_entry *schedule, time_t now) {
  schedule_history history = history_of(schedule);
  int id = -1;
  while ((id = bitset_next_bit(schedule->rec->jobs, SCH_MAX_JOBS, id)) >= 0)
    run_job(schedule, &sch_job_list[id], now);
  history.last_execution = history.last_completion = schedule->rec->time.last_run = (int32_t)now;
  ++history.execution_count;
  set_history(schedule, &history);
  sch_save_schedule_entry_to_pss(pss_running, schedule);
}

void run_due(time_t now) {
  GList *node;
  if (scheduler_enabled == 0) return;
  for (node = sch_schedule_list; node != NULL; node = node->next) {
    sch_schedule_entry *schedule = (sch_schedule_entry *)node->data;
    if (schedule->service[SCHEDULE_DUE] == 0 || (time_t)schedule->service[SCHEDULE_DUE] > now) continue;
    run_schedule(schedule, now);
    arm(schedule);
  }
}

static void send_message(GQueue *messages, const void *data, size_t length) {
  g_queue_push_tail(messages, g_bytes_new(data, length));
}

/* An empty log is one message that says so. */
void send_job_log(GQueue *messages) {
  const uint32_t count = job_log != NULL ? job_log->len : 0;
  uint32_t i;
  if (count == 0) send_message(messages, &count, sizeof count);
  for (i = 0; i < count; ++i) {
    GByteArray *logged = (GByteArray *)g_ptr_array_index(job_log, i);
    sch_log_entry *entry = (sch_log_entry *)(void *)logged->data;
    entry->count = count;
    entry->number = i + 1;
    send_message(messages, logged->data, logged->len);
  }
}
