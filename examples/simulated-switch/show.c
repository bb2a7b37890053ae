/* SPDX-License-Identifier: Apache-2.0 */
/* Operators' questions: each is answered by one job or schedule, the named one or the next one after the cursor. */
#include <stdlib.h>
#include <string.h>

#include "platform/bitset.h"
#include "switch.h"

static const sch_job_entry *job_behind(int32_t cursor) {
  int id = CLAMP(cursor, SCH_CURSOR_FIRST, SCH_MAX_JOBS) + 1;
  return sch_next_job(&sch_running_config, &id);
}

answer show_job(const char *user, const void *payload) {
  const sch_show_request *request = (const sch_show_request *)payload;
  const sch_job_entry *job = request->name[0] != '\0' ? find_job(request->name) : job_behind(request->cursor);
  sch_show_job_reply *reply;
  answer found = {0, NULL, 0};
  if (job == NULL) return found;
  found.length = (uint32_t)sizeof *reply + job->hdr->length;
  reply = (sch_show_job_reply *)calloc(1, found.length);
  if (reply == NULL) return answer_status(SWITCH_NO_MEMORY);
  found.record = reply;
  memcpy(reply->name, job->key->name, sizeof reply->name);
  reply->job_id = (int32_t)job->hdr->job_id;
  reply->length = (int32_t)job->hdr->length;
  sch_concat_fragments(job->fragments, (char *)(reply + 1), reply->length);
  return found;
}

static const sch_schedule_entry *schedule_behind(int32_t cursor) {
  const GList *node;
  for (node = sch_schedule_list; node != NULL; node = node->next) {
    const sch_schedule_entry *schedule = (const sch_schedule_entry *)node->data;
    if ((int32_t)schedule->service[SCHEDULE_NUMBER] > cursor) return schedule;
  }
  return NULL;
}

static int32_t fill_outcomes(const sch_schedule_entry *schedule, sch_job_status_entry *outcomes) {
  int32_t count = 0;
  int id = -1;
  while ((id = bitset_next_bit(schedule->rec->jobs, SCH_MAX_JOBS, id)) >= 0) {
    memcpy(outcomes[count].name, sch_job_list[id].key->name, sizeof outcomes[count].name);
    outcomes[count++].wait_status = wait_status_of(schedule, id);
  }
  return count;
}

answer show_schedule(const char *user, const void *payload) {
  const sch_show_request *request = (const sch_show_request *)payload;
  const sch_schedule_entry *schedule =
      request->name[0] != '\0' ? find_schedule(request->name) : schedule_behind(request->cursor);
  sch_show_schedule_reply *reply;
  schedule_history history;
  answer found = {0, NULL, 0};
  if (schedule == NULL) return found;
  found.length = (uint32_t)(sizeof *reply + SCH_MAX_JOBS * sizeof(sch_job_status_entry));
  reply = (sch_show_schedule_reply *)calloc(1, found.length);
  if (reply == NULL) return answer_status(SWITCH_NO_MEMORY);
  found.record = reply;
  history = history_of(schedule);
  reply->number = (int32_t)schedule->service[SCHEDULE_NUMBER];
  memcpy(reply->name, schedule->key->name, sizeof reply->name);
  memcpy(reply->user, history.user, sizeof history.user);
  reply->time = schedule->rec->time;
  reply->last_execution = history.last_execution;
  reply->last_completion = history.last_completion;
  reply->execution_count = history.execution_count;
  reply->job_count = fill_outcomes(schedule, (sch_job_status_entry *)(reply + 1));
  return found;
}
