/* SPDX-License-Identifier: Apache-2.0 */
/* What the parts of the simulated switch know of each other. */
#ifndef SWITCH_H
#define SWITCH_H

#include "schedcli_requests.h"

/* Statuses of this switch beside the library's; system.c has their texts. The first two are a platform's to give. */
#define SWITCH_ENABLED_ALREADY 0x40aa0005u
#define SWITCH_DISABLED_ALREADY 0x40aa0006u
#define SWITCH_DISABLED 0x40f10001u
#define SWITCH_NOT_OFFERED 0x40f10002u
#define SWITCH_BAD_REQUEST 0x40f10003u
#define SWITCH_NO_SUCH_NAME 0x40f10004u
#define SWITCH_TABLE_FULL 0x40f10005u
#define SWITCH_NO_MEMORY 0x40f10006u
#define SWITCH_NOT_STORED 0x40f10007u
#define SWITCH_NO_SUCH_STORE 0x80f10008u
#define SWITCH_TOO_LARGE 0x80f10009u

/* switch.c: the machine that is simulated. Executes one line of a job, returns its exit code. */
int switch_execute(const char *line, GString *output);

/* store.c. Without power everything that was not saved is lost. Until switch_is_up() a start of the service counts as
 * one after a boot. */
void switch_power_on(void);
void switch_is_up(void);

/* service.c. The record of an answer is allocated by malloc() and freed by the receiver; null: none. */
typedef struct answer {
  uint32_t status;
  void *record;
  uint32_t length;
} answer;

int service_start(void);
void service_stop(void);
uint32_t service_enable(int enabled);
answer service_answer(uint32_t service, const char *user, const void *request, uint32_t length);

/* The job or schedule of a name that came in a request; null when there is none. */
sch_job_entry *find_job(const char *name);
sch_schedule_entry *find_schedule(const char *name);
int is_name(const char *name);

answer answer_status(uint32_t status);

/* changes.c and show.c: a request each, its payload of the right length. */
answer create_job(const char *user, const void *payload);
answer define_job(const char *user, const void *payload);
answer delete_job(const char *user, const void *payload);
answer create_schedule(const char *user, const void *payload);
answer modify_schedule(const char *user, const void *payload);
answer delete_schedule(const char *user, const void *payload);
answer show_job(const char *user, const void *payload);
answer show_schedule(const char *user, const void *payload);

/* What the service keeps of a schedule, in the bytes that the stored record leaves to it. */
typedef struct schedule_history {
  char user[SCH_NAME_SIZE];
  int32_t last_execution;
  int32_t last_completion; /* 0: has not run */
  int32_t execution_count;
} schedule_history;

schedule_history history_of(const sch_schedule_entry *schedule);
void set_history(sch_schedule_entry *schedule, const schedule_history *history);

/* The words that an entry in memory leaves to the service: its number in listings, and when it is due (0: never). */
enum { SCHEDULE_NUMBER, SCHEDULE_DUE };

/* Gives a number that rises along the list and is never given twice. */
void give_number(sch_schedule_entry *schedule);

/* run.c: runs what is due and keeps the outcomes. */
void arm(sch_schedule_entry *schedule);
time_t next_due(void);
void run_due(time_t now);
uint32_t wait_status_of(const sch_schedule_entry *schedule, int job_id);
void forget_outcomes(sch_job_entry *job, const char *schedule); /* null: of all schedules */
void send_job_log(GQueue *messages);                            /* of GBytes, in the order of the stream */

#endif
