/* SPDX-License-Identifier: Apache-2.0 */
#ifndef SCHEDCLI_H
#define SCHEDCLI_H

#include <stddef.h>
#include <stdint.h>
#include <time.h>

#include <glib.h>

#include "platform/acfg.h"
#include "platform/cmi.h"
#include "platform/pss.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Limits. */
#define SCH_MAX_JOBS 256
#define SCH_FRAGMENT_SIZE 1024
#define SCH_MAX_EMAIL_IDS 10

/* Schedule types. Values 2 and 6 are deliberately unused. */
#define SCH_SCHEDULE_NONE 0
#define SCH_SCHEDULE_ONESHOT 1
#define SCH_SCHEDULE_DAILY 3
#define SCH_SCHEDULE_WEEKLY 4
#define SCH_SCHEDULE_MONTHLY 5
#define SCH_SCHEDULE_PERIODIC 7

/* Results of the time functions; the handlers display their negation. */
#define SCH_ERR_TIME_IN_PAST (-0x40bd000e)
#define SCH_ERR_INVALID_TIME (-0x40bd000d)
#define SCH_ERR_BAD_TIME_FORMAT (-0x40bd000b)

/* Status codes between the handlers and the service; 0 is success. */
#define SCH_STATUS_EXISTS 0x40bd0002u
#define SCH_STATUS_NO_USER_NAME 0x40bd0007u
#define SCH_STATUS_BAD_TIME_FORMAT 0x40bd000bu
#define SCH_STATUS_BAD_TIME_FORMAT_2 0x40bd000cu
#define SCH_STATUS_TIME_OUT_OF_RANGE 0x40bd000du
#define SCH_STATUS_TIME_IN_PAST 0x40bd000eu
#define SCH_STATUS_AUTHENTICATION_FAILED 0x40bd000fu
#define SCH_STATUS_NO_PASSWORD 0x40bd0010u

/* Key types of the stores. */
#define SCH_CONFIG_SCHEDULE 0u
#define SCH_CONFIG_JOB 1u
#define SCH_CONFIG_ENABLE 2u
#define SCH_CONFIG_LOG_FILE 3u
#define SCH_CONFIG_EMAIL_FROM 5u
#define SCH_CONFIG_EMAIL_REPLYTO 6u
#define SCH_CONFIG_EMAIL_SMTP 7u
#define SCH_CONFIG_SCHEDULE_EMAIL 8u
#define SCH_RUNTIME_STATUS 255u

/* Services and message classes of the transport. */
#define SCH_SERVICE_CONFIG 5950u
#define SCH_SERVICE_SHOW 5951u
#define SCH_CLASS_EMAIL 1u
#define SCH_CLASS_SHOW 2u
#define SCH_CLASS_CONFIG 3u

/* Opcodes of the requests. */
#define SCH_OP_CREATE_JOB 0u
#define SCH_OP_DEFINE_JOB 1u
#define SCH_OP_DELETE_JOB 2u
#define SCH_OP_CREATE_SCHEDULE 3u
#define SCH_OP_MODIFY_SCHEDULE 4u
#define SCH_OP_DELETE_SCHEDULE 5u
#define SCH_OP_SHOW_SCHEDULE 6u
#define SCH_OP_SHOW_JOB 7u
#define SCH_OP_SHOW_LOG 8u
#define SCH_OP_RESIZE_LOG 9u
#define SCH_OP_RENAME_LOG 10u
#define SCH_OP_CLEAR_LOG 11u
#define SCH_OP_SHOW_LOG_CONFIG 12u
#define SCH_OP_SET_EMAIL_FROM 13u
#define SCH_OP_CLEAR_EMAIL_FROM 14u
#define SCH_OP_SET_EMAIL_REPLYTO 15u
#define SCH_OP_CLEAR_EMAIL_REPLYTO 16u
#define SCH_OP_SET_EMAIL_SMTP 17u
#define SCH_OP_CLEAR_EMAIL_SMTP 18u
#define SCH_OP_SHOW_EMAIL_CONFIG 19u
#define SCH_OP_SCHEDULE_EMAIL 20u

/* Sub-commands of the schedule modification; the time forms are the schedule types. */
#define SCH_MODIFY_JOB 999u
#define SCH_MODIFY_CLEAR_TIME 1000u

/* Sub-commands of the e-mail transport. */
#define SCH_EMAIL_FROM 109u
#define SCH_EMAIL_REPLYTO 110u
#define SCH_EMAIL_SMTP 111u

/* Operations of the schedule e-mail request. */
#define SCH_EMAIL_ADD 20
#define SCH_EMAIL_REMOVE 21

/* Kinds of a parameter's value. */
#define SCH_PARAM_STRING 1u
#define SCH_PARAM_INTEGER 0x40100001u

/* Parameter identifiers of the password command. */
#define SCH_PARAM_USER_NAME 105u
#define SCH_PARAM_CLEAR_PASSWORD 106u
#define SCH_PARAM_SEALED_PASSWORD 107u

#define SCH_LOG_SIZE_DEFAULT 16384
#define SCH_LOG_NAME_DEFAULT "scheduler_circular_log.dat"
#define SCH_LOG_URI_DEFAULT "NONE"

typedef struct sch_config_key {
  uint32_t type;
  uint32_t fragment;
  char name[32];
} sch_config_key;

typedef struct sch_runtime_key {
  uint32_t type;
  uint32_t job_id;
  char name[32];
} sch_runtime_key;

typedef struct sch_job_hdr {
  uint32_t job_id;
  uint32_t carried;
  uint32_t length;
} sch_job_hdr;

typedef struct sch_tminfo {
  uint32_t type;
  int32_t hour;
  int32_t day_of_week;
  int32_t day_of_month;
  int32_t minute;
  int32_t month;
  int32_t year;
  int32_t start_time;
  int32_t last_run;
} sch_tminfo;

typedef struct sch_schedule_rec {
  uint32_t service_head[2];
  uint32_t jobs[8];
  uint32_t service_word;
  sch_tminfo time;
  uint32_t time_spare;
  uint8_t service_tail[60];
} sch_schedule_rec;

typedef struct sch_schedule_entry {
  sch_config_key *key;
  sch_schedule_rec *rec;
  uintptr_t service[6];
} sch_schedule_entry;

typedef struct sch_job_entry {
  uintptr_t reserved;
  sch_config_key *key;
  sch_job_hdr *hdr;
  GList *fragments;
  GList *status_list;
} sch_job_entry;

typedef struct sch_config_db {
  sch_job_entry *jobs;
  GList **schedules;
} sch_config_db;

typedef struct sch_email_slot {
  char address[64];
  int32_t in_use;
} sch_email_slot;

typedef struct sch_schedule_email_entry {
  char schedule_name[32];
  int32_t count;
  sch_email_slot slots[SCH_MAX_EMAIL_IDS];
} sch_schedule_email_entry;

typedef struct sch_runtime_job_status {
  char schedule_name[32];
  uint32_t job_id;
  uint32_t words[2];
} sch_runtime_job_status;

typedef struct sch_smtp_server_rec {
  char server[256];
  uint32_t address_kind;
  uint32_t port;
  char vrf[256];
} sch_smtp_server_rec;

typedef struct sch_email_transport {
  char from[64];
  char reply_to[64];
  char reply_to_copy[64];
  sch_smtp_server_rec smtp;
} sch_email_transport;

typedef struct sch_log_file_rec {
  uint32_t head[2]; /* not stored */
  char name[256];
  int32_t size;
  uint32_t read_offset;
  uint32_t write_offset;
  uint32_t entry_count;
  char uri[256];
  uint32_t spare;
} sch_log_file_rec;

typedef struct sch_timeval {
  int32_t seconds;
  int32_t microseconds;
} sch_timeval;

typedef struct sch_security_user_rec {
  char user_name[128];
  uint32_t kind;
  uint32_t form;
  char password[128];
} sch_security_user_rec;

typedef struct sch_syslog_facility {
  const char *name;
  uint32_t number;
  uint8_t default_level;
  uint8_t current_level;
} sch_syslog_facility;

typedef struct sch_syslog_msg {
  const char *name;
  const sch_syslog_facility *facility;
  const char *format;
  uint32_t severity;
} sch_syslog_msg;

typedef struct sch_cli_param {
  uint32_t id;
  uint32_t kind;
  uint32_t unused[2];
  const void *value;
  uint32_t sub_kind;
} sch_cli_param;

typedef struct sch_cli_cmd_ctx {
  uint8_t param_count;
  uint32_t negate, debug, skip, feature_skip, shell_handle, subcommand;
  char user_name[32];
  char peer_name[32];
  sch_cli_param *const *params; /* parameter n is params[n - 1] */
} sch_cli_cmd_ctx;

typedef struct sch_show_job_reply {
  char name[32];
  int32_t job_id;
  uint32_t unread;
  int32_t length;
} sch_show_job_reply;

typedef struct sch_show_schedule_reply {
  int32_t number;
  char name[32];
  sch_tminfo time;
  uint32_t unread[2];
  int32_t last_completion;
  int32_t job_count;
  char user[40];
  int32_t last_execution;
  int32_t execution_count;
  int32_t email_count;
  sch_email_slot emails[SCH_MAX_EMAIL_IDS];
} sch_show_schedule_reply;

typedef struct sch_job_status_entry {
  char name[32];
  uint32_t wait_status;
} sch_job_status_entry;

typedef struct sch_log_entry {
  uint32_t count;
  uint32_t number;
  char job[32];
  char schedule[32];
  char user[40];
  uint32_t wait_status;
  int32_t completion;
  int32_t total_length;
  uint32_t piece_length;
} sch_log_entry;

/* Globals. */
extern sch_job_entry sch_job_list[SCH_MAX_JOBS];
extern sch_job_entry startup_job_list[SCH_MAX_JOBS];
extern GList *sch_schedule_list;
extern GList *startup_schedule_list;
extern GList *sch_schedule_email_list;
extern sch_config_db sch_running_config;
extern sch_config_db sch_startup_config;
extern sch_email_transport email_transport_conf;
extern sch_log_file_rec sch_log_file;
extern sch_config_key sch_log_file_key;
extern int32_t scheduler_enabled;
extern uint32_t cli_debug;
extern int32_t debug_level;
extern char cfg_line[2048];
extern char sch_pss_running_uri[64];
extern char sch_pss_running_db_uri[64];
extern char sch_debug_pss_running_uri[64];
extern char sch_pss_startup_uri[64];
extern char sch_debug_pss_startup_uri[64];
extern pss_handle pss_running;
extern pss_handle pss_running_db;
extern pss_handle debug_pss_running;
extern const sch_syslog_facility syslog_fac_LOG_SCHEDULER;
extern const sch_syslog_msg syslog_msg_SCH_SYSLOG_USER_ERR;
extern const sch_syslog_msg syslog_msg_SCH_SYSLOG_PSS_SNAPSHOT_ERR;
extern const sch_syslog_msg syslog_msg_SCH_SYSLOG_SDWRAP_ERR;
extern const sch_syslog_msg syslog_msg_SCH_SYSLOG_MALLOC_ERR;
extern const sch_syslog_msg syslog_msg_SCH_SYSLOG_PSS_ERR;
extern const sch_syslog_msg syslog_msg_SCH_SYSLOG_FILE_ERR;
extern const sch_syslog_msg syslog_msg_SCH_SYSLOG_MTS_ERR;
extern const sch_syslog_msg syslog_msg_SCH_WARN;
extern const sch_syslog_msg syslog_msg_SCH_ERR;
extern const sch_syslog_msg syslog_msg_SCH_MSG;

/* diag */
void *sch_malloc_check(uint32_t size, uint32_t mem_type, uint32_t flags, const char *purpose);
int sch_syserr_log(int level, uint32_t error);
void sch_syslog_raise(const sch_syslog_msg *msg, ...);

/* db: jobs */
int sch_add_config_entry(sch_config_db *config, const pss_buf *key, const pss_buf *value);
int sch_add_job_hdr(sch_config_db *config, sch_config_key *key, sch_job_hdr *hdr, sch_job_entry **slot);
int sch_add_job_data(sch_config_db *config, sch_config_key *key, void *fragment, sch_job_entry **slot);
int sch_add_runtime_job_status_entry(sch_config_db *config, sch_runtime_job_status *status);
int sch_first_empty_job_list_entry_index(const sch_config_db *config);
int sch_find_job(const sch_config_db *config, const char *name, sch_job_entry **slot);
sch_job_entry *sch_next_job(const sch_config_db *config, int *index);
int sch_concat_fragments(GList *fragments, char *destination, int32_t length);
int sch_show_run_concat_fragments(GList *fragments, char *destination, int32_t length);
void sch_replace_newline_with_semicolon(char *buffer, int32_t length);
void sch_free_job_entry(sch_job_entry *slot);
void free_fragment(void *fragment, void *unused);
void sch_free_config(sch_config_db *config);
const pss_buf *sch_get_syslog_pss_key(void);

/* db: schedules and addresses */
int sch_add_schedule_entry(sch_config_db *config, sch_config_key *key, sch_schedule_rec *rec,
                           sch_schedule_entry **entry);
int sch_find_schedule(const sch_config_db *config, const char *name, sch_schedule_entry **entry);
void sch_free_schedule_entry(sch_config_db *config, GList *element);
int sch_find_schedule_email_entry(GList **list, const char *schedule, sch_schedule_email_entry **entry);
int sch_add_schedule_email_entry(GList **list, const char *schedule, const char *address);
int sch_add_new_schedule_email_entry(GList **list, const char *schedule, const char *address);
int sch_add_schedule_email_entry_from_pss(GList **list, const sch_schedule_email_entry *stored);
int sch_remove_schedule_email_entry(GList **list, const char *schedule);
int sch_remove_schedule_email_addr(GList **list, const char *schedule, const char *address);

/* time */
int get_val(const char *text, const char *const *names, int count, int *out);
int sch_parse_str_to_tminfo(const char *text, sch_tminfo *record);
void print_tminfo(const sch_tminfo *record);
int get_start_time(const char *text, sch_tminfo *record, const struct tm *now_tm);
int sch_verify_tminfo(const sch_tminfo *record);
int normalize_day_of_month(int year, int month, int day);
time_t mktime_from_tminfo(const sch_tminfo *record);
void normalize_incremental_time(sch_tminfo *record);
int sch_compute_delta(const sch_tminfo *record, int32_t *seconds);
void print_timeval(const sch_timeval *value);
int sch_compute_timer_interval(const sch_tminfo *record, sch_timeval *interval, time_t *next_time);

/* cli */
int sch_cli_disp_error(uint32_t code, uint32_t schedule_type);
int sch_cli_create_delete_job(const sch_cli_cmd_ctx *ctx);
int sch_cli_semicolon_delimiter_define_job(const sch_cli_cmd_ctx *ctx);
int sch_cli_define_job(uint32_t shell_handle, const char *text, uint32_t text_length, const char *job_name,
                       const char *user_name, const char *peer_name);
int sch_cli_create_delete_schedule(const sch_cli_cmd_ctx *ctx);
int sch_cli_modify_schedule(const sch_cli_cmd_ctx *ctx);
int sch_cli_logfile_resize(const sch_cli_cmd_ctx *ctx);
int sch_cli_logfile_rename(const sch_cli_cmd_ctx *ctx);
int sch_cli_logfile_clear(const sch_cli_cmd_ctx *ctx);
int sch_enable_scheduler(const sch_cli_cmd_ctx *ctx);
int sch_cli_dummy_cfg_gen(void);
int sch_cli_config_email_transport(const sch_cli_cmd_ctx *ctx);
int sch_cli_modify_schedule_emailaddr(const sch_cli_cmd_ctx *ctx);
uint32_t sch_validate_remote_user(uint32_t shell_handle, const char *user_name);
uint32_t sch_validate_authentication_passwd(uint32_t shell_handle, const char *user_name);
int sch_cli_aaa_auth_passwd(const sch_cli_cmd_ctx *ctx);

/* pss */
void sch_hton_config_key(sch_config_key *key);
void sch_ntoh_config_key(sch_config_key *key);
void sch_hton_runtime_key(sch_runtime_key *key);
void sch_ntoh_runtime_key(sch_runtime_key *key);
int sch_pss_uri_init(void);
int sch_pss_create(const char *uri, uint32_t size, uint32_t max_value_size, uint16_t max_key_size);
int sch_pss_init(void);
int sch_pss_close_handles(void *arg);
int sch_save_email_from_conf_to_pss(pss_handle store, const sch_email_transport *conf);
int sch_save_email_replyto_conf_to_pss(pss_handle store, const sch_email_transport *conf);
int sch_save_email_smtpserver_conf_to_pss(pss_handle store, const sch_email_transport *conf);
int sch_save_schedule_email_entry_to_pss(pss_handle store, const sch_schedule_email_entry *entry);
int sch_save_schedule_entry_to_pss(pss_handle store, const sch_schedule_entry *entry);
int sch_save_log_file_entry_to_pss(pss_handle store, const sch_config_key *key, const sch_log_file_rec *log_file);
int sch_save_condition_entry_to_pss(pss_handle store, const sch_config_key *key, int32_t flag);
int sch_save_job_entry_to_pss(pss_handle store, sch_job_entry *slot);
int sch_delete_schedule_email_entry_from_pss(pss_handle store, const sch_schedule_email_entry *entry);
int sch_delete_schedule_entry_from_pss(pss_handle store, const sch_schedule_entry *entry);
int sch_delete_job_entry_from_pss(pss_handle store, const sch_job_entry *slot);
int sch_save_config_to_pss(sch_config_db *config, pss_handle store);
int sch_restore_config_from_pss(sch_config_db *config, pss_handle store);
int sch_restore_db_from_pss(sch_config_db *config, pss_handle store);
int sch_save_runtime_job_status_entry_to_pss(pss_handle store, const sch_runtime_job_status *status);
int sch_save_runtime_job_status_to_pss(pss_handle store, const sch_job_entry *slot);
int sch_save_db_to_pss(sch_config_db *config, pss_handle store);
int sch_delete_job_status_entry_from_pss(pss_handle store, const sch_runtime_job_status *status);
int sch_delete_all_status_for_job_from_pss(pss_handle store, sch_job_entry *slot);
int sch_pss_snapshot(const char *source_uri, const char *destination_uri);
int sch_standby_pss_init(void);
int sch_standby_pss_init_gsync_fail(void);
pss_handle sch_verify_pss_shrink(pss_handle store, const char *uri, uint32_t max_free, uint32_t *status);
int sch_pss_shrink(uint32_t max_free);

/* show */
int sch_cli_show_jobs(const sch_cli_cmd_ctx *ctx);
int sch_cli_show_schedules(const sch_cli_cmd_ctx *ctx);
int sch_cli_show_config(const sch_cli_cmd_ctx *ctx);
int sch_cli_show_logfile(const sch_cli_cmd_ctx *ctx);
int sch_cli_show_memstats(const sch_cli_cmd_ctx *ctx);
int get_log_file_config(const sch_cli_cmd_ctx *ctx);
int get_job_config(const sch_cli_cmd_ctx *ctx);
int get_schedule_config(const sch_cli_cmd_ctx *ctx);
int sch_cli_get_email_transport_config(const sch_cli_cmd_ctx *ctx);
void print_line(int count, char character);
void display_job(const sch_show_job_reply *reply);
void display_schedule(const sch_show_schedule_reply *reply);
void print_schedule_type(const sch_tminfo *time_info);
void print_weekly_schedule(const sch_tminfo *time_info);
void print_monthly_schedule(const sch_tminfo *time_info);
void print_status_heading(void);
void print_status(const sch_job_status_entry *entry, int not_yet_run);
void print_config_job(const sch_show_job_reply *reply);
void print_config_schedule(const sch_show_schedule_reply *reply);
void print_config_schedule_type(const sch_tminfo *time_info, char *buffer);
void print_config_assigned_job(const char *name);
void print_config_schedule_email_addr(const sch_show_schedule_reply *reply);
int display_log_entries(uint32_t mts_handle, const cmi_sent_request *sent);
int collate_and_display_log(uint32_t mts_handle, const sch_log_entry *first, const mts_selector *selector);
void display_log_entry(const sch_log_entry *entry, const char *output);

/* acfg */
int sch_acfg_gen(sch_config_db *config, acfg_hdl *handle, pss_handle debug_store);
int sch_acfg_job_cfg_gen(sch_config_db *config, acfg_hdl *handle);
int sch_add_job_cfg(sch_config_db *config, acfg_hdl *handle, sch_job_entry *slot);
int sch_acfg_schedule_cfg_gen(sch_config_db *config, acfg_hdl *handle);
int sch_add_schedule_cfg(sch_config_db *config, acfg_hdl *handle, sch_schedule_entry *schedule);
int sch_acfg_print_schedule_type(const sch_tminfo *time_info, char *buffer, uint32_t size);
void sch_strcpy(char *destination, const char *source, size_t size);
int sch_acfgcb_cfg_gen(void *message, void *request);

#ifdef __cplusplus
}
#endif
#endif
