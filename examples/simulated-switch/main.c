/* SPDX-License-Identifier: Apache-2.0 */
/* A day of a switch that embeds the scheduler, with its operator's commands as the shell would have parsed them. */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "switch.h"

/* What was typed, the handler that the shell's grammar has for it, whether it begins with "no", which form of the
 * command it is, and its parameters. */
typedef struct command {
  const char *typed;
  int (*handler)(const sch_cli_cmd_ctx *ctx);
  uint32_t negate;
  uint32_t subcommand;
  const char *values[2];
} command;

static void type_in(const command *typed) {
  sch_cli_param records[2];
  sch_cli_param *params[2];
  sch_cli_cmd_ctx ctx;
  memset(&ctx, 0, sizeof ctx);
  memset(records, 0, sizeof records);
  for (; ctx.param_count < 2 && typed->values[ctx.param_count] != NULL; ++ctx.param_count) {
    params[ctx.param_count] = &records[ctx.param_count];
    records[ctx.param_count].kind = SCH_PARAM_STRING;
    records[ctx.param_count].value = typed->values[ctx.param_count];
  }
  ctx.params = params;
  ctx.negate = typed->negate;
  ctx.subcommand = typed->subcommand;
  strcpy(ctx.user_name, "admin");
  strcpy(ctx.peer_name, "console");
  printf("switch# %s\n", typed->typed);
  /* A status has 32 bits; as a process's exit status the low 8 of them alone would be seen, and those may be 0. */
  if (typed->handler(&ctx) != 0) puts("(refused)");
}

static void type_in_all(const command *commands, size_t count) {
  size_t i;
  for (i = 0; i < count; ++i)
    type_in(&commands[i]);
}
#define TYPE_IN(commands) type_in_all(commands, sizeof(commands) / sizeof((commands)[0]))

static const command configure[] = {
    {"feature scheduler", sch_enable_scheduler, 0, 0, {NULL}},
    {"scheduler job name inventory", sch_cli_create_delete_job, 0, 0, {"inventory"}},
    {"show version ; show ports",
     sch_cli_semicolon_delimiter_define_job,
     0,
     0,
     {"inventory", "show version;show ports"}},
    {"scheduler schedule name nightly", sch_cli_create_delete_schedule, 0, 0, {"nightly"}},
    {"time daily 25:30", sch_cli_modify_schedule, 0, SCH_SCHEDULE_DAILY, {"nightly", "25:30"}},
    {"time daily 23:30", sch_cli_modify_schedule, 0, SCH_SCHEDULE_DAILY, {"nightly", "23:30"}},
    {"job name inventory", sch_cli_modify_schedule, 0, SCH_MODIFY_JOB, {"nightly", "inventory"}},
};

static const command show_all[] = {
    {"show scheduler job", sch_cli_show_jobs, 0, 0, {NULL}},
    {"show scheduler schedule", sch_cli_show_schedules, 0, 0, {NULL}},
};

static const command show_outcome[] = {
    {"show scheduler schedule", sch_cli_show_schedules, 0, 0, {NULL}},
    {"show scheduler logfile", sch_cli_show_logfile, 0, 0, {NULL}},
};

static const command show_one[] = {
    {"show scheduler schedule name nightly", sch_cli_show_schedules, 0, 0, {"nightly"}},
};

static const command delete_all[] = {
    {"no scheduler job name inventory", sch_cli_create_delete_job, 1, 0, {"inventory"}},
    {"show scheduler schedule", sch_cli_show_schedules, 0, 0, {NULL}},
    {"no scheduler schedule name nightly", sch_cli_create_delete_schedule, 1, 0, {"nightly"}},
    {"no scheduler schedule name nightly", sch_cli_create_delete_schedule, 1, 0, {"nightly"}},
    {"show scheduler schedule", sch_cli_show_schedules, 0, 0, {NULL}},
};

static void say(const char *what) {
  printf("\n*** %s\n\n", what);
}

static void start(void) {
  if (service_start() == 0) return;
  fputs("The scheduler's stores cannot be opened.\n", stderr);
  exit(EXIT_FAILURE);
}

static void show_running_configuration(void) {
  int running = 1;
  GString *text = g_string_new(NULL);
  sch_acfgcb_cfg_gen(text, &running);
  printf("switch# show running-config\n%s", text->str);
  g_string_free(text, TRUE);
}

int main(void) {
  setvbuf(stdout, NULL, _IONBF, 0); /* errors and answers in the order in which they come */

  say("The switch is powered on, and the operator configures it");
  switch_power_on();
  start();
  TYPE_IN(configure);
  TYPE_IN(show_all);

  say("The clock comes to the time of the schedule");
  run_due(next_due());
  TYPE_IN(show_outcome);

  say("The operator saves the configuration");
  puts("switch# copy running-config startup-config");
  if (sch_pss_snapshot(sch_pss_running_uri, sch_pss_startup_uri) != 0) return EXIT_FAILURE;

  say("The service restarts: nothing is lost, the outcome is there");
  service_stop();
  start();
  TYPE_IN(show_one);

  say("The operator deletes it all, and does not save that");
  TYPE_IN(delete_all);

  say("The power fails and comes back: what was saved is there");
  service_stop();
  switch_power_on();
  start();
  TYPE_IN(show_one);
  show_running_configuration();

  service_stop();
  return EXIT_SUCCESS;
}
