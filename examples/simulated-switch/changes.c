/* SPDX-License-Identifier: Apache-2.0 */
/*
 * Operators' changes: first in the database, then in the store, then the answer is sent. If the store fails, the two
 * differ here; a product undoes the change, or writes all records of a request in one transaction.
 */
#include <string.h>

#include "switch.h"

static answer stored(int result) {
  return answer_status(result == 0 ? 0 : SWITCH_NOT_STORED);
}

/* Enters a record by its stored form, as a restart does. */
static int enter(uint32_t type, uint32_t fragment, const char *name, const void *value, uint32_t length) {
  sch_config_key key = {type, fragment, ""};
  const pss_buf stored_key = {&key, sizeof key};
  const pss_buf stored_value = {(void *)value, length};
  sch_strcpy(key.name, name, sizeof key.name);
  sch_hton_config_key(&key);
  return sch_add_config_entry(&sch_running_config, &stored_key, &stored_value);
}

answer create_job(const char *user, const void *payload) {
  const char *name = ((const sch_job_request *)payload)->head.name;
  const int id = sch_first_empty_job_list_entry_index(&sch_running_config);
  const sch_job_hdr header = {(uint32_t)id, 0, 0};
  if (!is_name(name)) return answer_status(SWITCH_BAD_REQUEST);
  if (find_job(name) != NULL) return answer_status(SCH_STATUS_EXISTS);
  if (id < 0) return answer_status(SWITCH_TABLE_FULL);
  if (enter(SCH_CONFIG_JOB, 0, name, &header, sizeof header) != 0) return answer_status(SWITCH_NO_MEMORY);
  return stored(sch_save_job_entry_to_pss(pss_running, &sch_job_list[id]));
}

/* Removes the old text, also from the store: it may have had more fragments than the new one. */
static void drop_text(sch_job_entry *job) {
  sch_delete_job_entry_from_pss(pss_running, job);
  g_list_foreach(job->fragments, free_fragment, NULL);
  g_list_free(job->fragments);
  job->fragments = NULL;
}

/* A text is kept in pieces of SCH_FRAGMENT_SIZE bytes, numbered from 1. */
answer define_job(const char *user, const void *payload) {
  const sch_job_request *request = (const sch_job_request *)payload;
  const char *text = (const char *)(request + 1);
  sch_job_entry *job = find_job(request->head.name);
  uint32_t at, number = 0;
  if (job == NULL) return answer_status(SWITCH_NO_SUCH_NAME);
  if (request->text_length > SCH_JOB_TEXT_LIMIT) return answer_status(SWITCH_TOO_LARGE);
  drop_text(job);
  job->hdr->length = request->text_length;
  for (at = 0; at < request->text_length; at += SCH_FRAGMENT_SIZE) {
    const uint32_t piece = MIN(request->text_length - at, SCH_FRAGMENT_SIZE);
    if (enter(SCH_CONFIG_JOB, ++number, job->key->name, text + at, piece) != 0) return answer_status(SWITCH_NO_MEMORY);
  }
  return stored(sch_save_job_entry_to_pss(pss_running, job));
}

/* The id will be reused by another job, so nothing that refers to it may stay. */
answer delete_job(const char *user, const void *payload) {
  sch_job_entry *job = find_job(((const sch_job_request *)payload)->head.name);
  GList *node;
  if (job == NULL) return answer_status(SWITCH_NO_SUCH_NAME);
  for (node = sch_schedule_list; node != NULL; node = node->next) {
    sch_schedule_entry *schedule = (sch_schedule_entry *)node->data;
    schedule->rec->jobs[job->hdr->job_id / 32] &= ~(1u << job->hdr->job_id % 32);
    if (sch_save_schedule_entry_to_pss(pss_running, schedule) != 0) return stored(-1);
  }
  forget_outcomes(job, NULL);
  sch_delete_job_entry_from_pss(pss_running, job);
  sch_free_job_entry(job);
  return answer_status(0);
}

answer create_schedule(const char *user, const void *payload) {
  const char *name = ((const sch_named_request *)payload)->name;
  sch_schedule_entry *schedule;
  schedule_history history = {"", 0, 0, 0};
  sch_schedule_rec rec;
  if (!is_name(name)) return answer_status(SWITCH_BAD_REQUEST);
  if (find_schedule(name) != NULL) return answer_status(SCH_STATUS_EXISTS);
  memset(&rec, 0, sizeof rec);
  enter(SCH_CONFIG_SCHEDULE, 0, name, &rec, sizeof rec);
  schedule = find_schedule(name);
  if (schedule == NULL) return answer_status(SWITCH_NO_MEMORY);
  sch_strcpy(history.user, user, sizeof history.user);
  set_history(schedule, &history);
  give_number(schedule);
  return stored(sch_save_schedule_entry_to_pss(pss_running, schedule));
}

answer delete_schedule(const char *user, const void *payload) {
  sch_schedule_entry *schedule = find_schedule(((const sch_named_request *)payload)->name);
  sch_job_entry *job;
  int id = 0;
  if (schedule == NULL) return answer_status(SWITCH_NO_SUCH_NAME);
  for (; (job = sch_next_job(&sch_running_config, &id)) != NULL; ++id)
    forget_outcomes(job, schedule->key->name);
  sch_delete_schedule_entry_from_pss(pss_running, schedule);
  sch_free_schedule_entry(&sch_running_config, g_list_find(sch_schedule_list, schedule));
  return answer_status(0);
}

static uint32_t assign_job(sch_schedule_entry *schedule, const sch_modify_request *request) {
  const sch_job_entry *job = find_job(request->job);
  uint32_t *word, bit;
  if (job == NULL) return SWITCH_NO_SUCH_NAME;
  word = &schedule->rec->jobs[job->hdr->job_id / 32];
  bit = 1u << job->hdr->job_id % 32;
  *word = request->negate != 0 ? *word & ~bit : *word | bit;
  return 0;
}

/* Verified again: the time may have passed since the handler checked it, and other clients than the handlers may send.
 */
static uint32_t set_time(sch_schedule_entry *schedule, const sch_modify_request *request) {
  const int result = sch_verify_tminfo(&request->time);
  if (request->time.type != request->subcommand) return SWITCH_BAD_REQUEST;
  if (result != 0) return (uint32_t)-result;
  schedule->rec->time = request->time;
  return 0;
}

static uint32_t change(sch_schedule_entry *schedule, const sch_modify_request *request) {
  switch (request->subcommand) {
    case SCH_MODIFY_JOB:
      return assign_job(schedule, request);
    case SCH_MODIFY_CLEAR_TIME:
      memset(&schedule->rec->time, 0, sizeof schedule->rec->time);
      return 0;
    case SCH_SCHEDULE_ONESHOT:
    case SCH_SCHEDULE_DAILY:
    case SCH_SCHEDULE_WEEKLY:
    case SCH_SCHEDULE_MONTHLY:
    case SCH_SCHEDULE_PERIODIC:
      return set_time(schedule, request);
    default:
      return SWITCH_BAD_REQUEST;
  }
}

answer modify_schedule(const char *user, const void *payload) {
  const sch_modify_request *request = (const sch_modify_request *)payload;
  sch_schedule_entry *schedule = find_schedule(request->schedule);
  uint32_t refusal;
  if (schedule == NULL) return answer_status(SWITCH_NO_SUCH_NAME);
  refusal = change(schedule, request);
  if (refusal != 0) return answer_status(refusal);
  arm(schedule);
  return stored(sch_save_schedule_entry_to_pss(pss_running, schedule));
}
