/* SPDX-License-Identifier: Apache-2.0 */
/*
 * The scheduler service: its start and end, and which request is answered by what. Owners, limits for each user and a
 * change of several records as one are a product's own; they would stand here too.
 */
#include <string.h>

#include "platform/memory.h"
#include "platform/sysmgr.h"
#include "switch.h"

#define NAME_CHARACTERS "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz_-"

static sch_config_key enable_key = {SCH_CONFIG_ENABLE, 0, ""};

answer answer_status(uint32_t status) {
  const answer bare = {status, NULL, 0};
  return bare;
}

/* A client may send anything as a name: it must end within its field. */
int is_name(const char *name) {
  return memchr(name, '\0', SCH_NAME_SIZE) != NULL && g_ascii_isalnum(name[0]) &&
         name[strspn(name, NAME_CHARACTERS)] == '\0';
}

sch_job_entry *find_job(const char *name) {
  sch_job_entry *job = NULL;
  if (is_name(name)) sch_find_job(&sch_running_config, name, &job);
  return job;
}

sch_schedule_entry *find_schedule(const char *name) {
  sch_schedule_entry *schedule = NULL;
  if (is_name(name)) sch_find_schedule(&sch_running_config, name, &schedule);
  return schedule;
}

void give_number(sch_schedule_entry *schedule) {
  static uintptr_t last_number;
  schedule->service[SCHEDULE_NUMBER] = ++last_number;
}

uint32_t service_enable(int enabled) {
  if ((scheduler_enabled != 0) == enabled) return enabled ? SWITCH_ENABLED_ALREADY : SWITCH_DISABLED_ALREADY;
  if (sch_save_condition_entry_to_pss(pss_running, &enable_key, enabled) != 0) return SWITCH_NOT_STORED;
  scheduler_enabled = enabled;
  return 0;
}

/* Schedules from the startup store have not run since the boot, and the enable flag is not in the running store. */
static void begin_after_boot(void) {
  GList *node;
  for (node = sch_schedule_list; node != NULL; node = node->next) {
    sch_schedule_entry *schedule = (sch_schedule_entry *)node->data;
    schedule_history history = history_of(schedule);
    history.last_execution = history.last_completion = history.execution_count = 0;
    set_history(schedule, &history);
    sch_save_schedule_entry_to_pss(pss_running, schedule);
  }
  sch_save_condition_entry_to_pss(pss_running, &enable_key, scheduler_enabled);
}

int service_start(void) {
  GList *node;
  sch_pss_uri_init();
  if (sch_pss_init() != 0) return -1;
  if (sysmgr_is_stateless_restart() != 0) begin_after_boot();
  for (node = sch_schedule_list; node != NULL; node = node->next) {
    give_number((sch_schedule_entry *)node->data);
    arm((sch_schedule_entry *)node->data);
  }
  switch_is_up();
  return 0;
}

void service_stop(void) {
  sch_pss_close_handles(NULL);
  sch_free_config(&sch_running_config);
  g_list_free_full(sch_schedule_email_list, mtrack_free);
  sch_schedule_email_list = NULL;
  scheduler_enabled = 0;
}

/* What this switch offers, beside the job log's stream; mail and the log's settings it does not. */
static const struct {
  uint32_t service;
  uint32_t opcode;
  uint32_t payload_length;
  answer (*handle)(const char *user, const void *payload);
} operations[] = {
    {SCH_SERVICE_CONFIG, SCH_OP_CREATE_JOB, sizeof(sch_job_request), create_job},
    {SCH_SERVICE_CONFIG, SCH_OP_DEFINE_JOB, sizeof(sch_job_request), define_job},
    {SCH_SERVICE_CONFIG, SCH_OP_DELETE_JOB, sizeof(sch_job_request), delete_job},
    {SCH_SERVICE_CONFIG, SCH_OP_CREATE_SCHEDULE, sizeof(sch_named_request), create_schedule},
    {SCH_SERVICE_CONFIG, SCH_OP_MODIFY_SCHEDULE, sizeof(sch_modify_request), modify_schedule},
    {SCH_SERVICE_CONFIG, SCH_OP_DELETE_SCHEDULE, sizeof(sch_named_request), delete_schedule},
    {SCH_SERVICE_SHOW, SCH_OP_SHOW_JOB, sizeof(sch_show_request), show_job},
    {SCH_SERVICE_SHOW, SCH_OP_SHOW_SCHEDULE, sizeof(sch_show_request), show_schedule},
};

/* The payload's record and, of a job's definition alone, the text that it announces: not a byte more or less. */
static int is_whole(const sch_request_header *header, uint32_t length, uint32_t payload_length) {
  if (length - sizeof *header != header->payload_length || header->payload_length < payload_length) return 0;
  if (header->opcode != SCH_OP_DEFINE_JOB) return header->payload_length == payload_length;
  return ((const sch_job_request *)(header + 1))->text_length == header->payload_length - payload_length;
}

answer service_answer(uint32_t service, const char *user, const void *request, uint32_t length) {
  const sch_request_header *header = (const sch_request_header *)request;
  size_t i;
  if (length < sizeof *header) return answer_status(SWITCH_BAD_REQUEST);
  if (scheduler_enabled == 0) return answer_status(SWITCH_DISABLED);
  for (i = 0; i < sizeof operations / sizeof operations[0]; ++i) {
    if (operations[i].service != service || operations[i].opcode != header->opcode) continue;
    if (!is_whole(header, length, operations[i].payload_length)) return answer_status(SWITCH_BAD_REQUEST);
    return operations[i].handle(user, header + 1);
  }
  return answer_status(SWITCH_NOT_OFFERED);
}
