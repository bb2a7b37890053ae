/* SPDX-License-Identifier: Apache-2.0 */
/*
 * libschedcli: the command scheduler of a network switch, as a library.
 *
 * A shell calls the command handlers, a scheduler service the database, time and store functions, a configuration
 * manager the generation callback. The process that loads the library brings the platform: the symbols that platform/
 * declares. Compiles as C11 and C++; nothing is thrown, and no exception may come in from the platform. The order of
 * calls from start to end, and what is easily got wrong, stand in docs/integrators-guide.md.
 *
 * What holds everywhere, unless a function says otherwise:
 *
 * - Threads. The library starts none, takes no lock, and may be used by one thread at a time.
 * - Pointers are never null. The handlers take parameters as the shell parsed them and refuse missing ones.
 * - Results. int: 0 on success, -1 on failure. Handlers: an exit status, see "cli". Platform errors are 32-bit codes of
 *   the form 0x4xxxxxxx or 0x8xxxxxxx, whose text is syserr2str().
 * - Out arguments hold the result on success. After a failure find functions have cleared theirs, others are unchanged.
 * - Ownership. Records of the database come from sch_malloc_check() and go back with mtrack_free(). A function that
 *   "takes" a record owns it from the call on, also when it fails: then it has freed it. Everything else is borrowed
 *   for the call. What a function returns by pointer stays the library's.
 * - Memory. A function that cannot get memory fails as it says; a failed sch_malloc_check() has told the administrator.
 * - Texts are NUL-terminated. Names and addresses in records are NUL-padded fields; one that is full has no terminator
 *   and ends with its field, and nothing is read beyond it. A text longer than its field is cut.
 * - Lengths and counts in records are not trusted: they may shorten a copy, never lengthen it.
 * - Times are seconds since the epoch; the fields of a sch_tminfo are local time, of the process's zone.
 * - Integers are in host byte order, except the two leading words of a stored key, which are big-endian.
 * - Messages to the operator go to standard error, show output to standard output. Traces go to standard error (the
 *   handlers', time and show functions' when cli_debug is set, the others' when debug_level exceeds the trace's level),
 *   the debug history and buginf.
 */
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
#pragma GCC visibility push(default)

/* The version that a product is compiled with. It gains functions with MINOR, and with MAJOR breaks what was built. */
#define SCHEDCLI_VERSION_MAJOR 1
#define SCHEDCLI_VERSION_MINOR 0
#define SCHEDCLI_VERSION_PATCH 0

/* Limits: slots of a job table, bytes of text in each fragment but the last, addresses of a schedule. */
#define SCH_MAX_JOBS 256
#define SCH_FRAGMENT_SIZE 1024
#define SCH_MAX_EMAIL_IDS 10

/* Bytes of the fields that hold a name and an e-mail address, the NUL included where one is needed. */
#define SCH_NAME_SIZE 32
#define SCH_ADDRESS_SIZE 64

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

/* Types of the stores' keys. Type 4 is stored by nobody; sch_delete_job_status_entry_from_pss() deletes under it. */
#define SCH_CONFIG_SCHEDULE 0u
#define SCH_CONFIG_JOB 1u
#define SCH_CONFIG_ENABLE 2u
#define SCH_CONFIG_LOG_FILE 3u
#define SCH_CONFIG_EMAIL_FROM 5u
#define SCH_CONFIG_EMAIL_REPLYTO 6u
#define SCH_CONFIG_EMAIL_SMTP 7u
#define SCH_CONFIG_SCHEDULE_EMAIL 8u
#define SCH_RUNTIME_STATUS 255u

/* Sub-commands of the schedule modification; the time forms are the schedule types. */
#define SCH_MODIFY_JOB 999u
#define SCH_MODIFY_CLEAR_TIME 1000u

/* Sub-commands of the e-mail transport. */
#define SCH_EMAIL_FROM 109u
#define SCH_EMAIL_REPLYTO 110u
#define SCH_EMAIL_SMTP 111u

/* Kinds of a parameter's value. */
#define SCH_PARAM_STRING 1u
#define SCH_PARAM_INTEGER 0x40100001u

/* Identifiers of the password command's parameters; no other command reads them. */
#define SCH_PARAM_USER_NAME 105u
#define SCH_PARAM_CLEAR_PASSWORD 106u
#define SCH_PARAM_SEALED_PASSWORD 107u

/* The job log file until it is configured; bytes. Operators and the configuration's text give its size in units. The
 * name is one in the service's own folder, and the URI says that nobody chose it. */
#define SCH_LOG_SIZE_UNIT 1024
#define SCH_LOG_SIZE_DEFAULT 16384
#define SCH_LOG_NAME_DEFAULT "scheduler_circular_log.dat"
#define SCH_LOG_URI_DEFAULT "NONE"

/* The mail server until it is configured: the port of SMTP itself, the address kind of an IPv4 host, and the routing
 * instance that a switch is managed through. */
#define SCH_SMTP_PORT_DEFAULT 25
#define SCH_SMTP_KIND_DEFAULT 1
#define SCH_SMTP_VRF_DEFAULT "management"

/* The records of these defaults, to initialise from. */
#define SCH_SMTP_SERVER_INITIALIZER \
  { "", SCH_SMTP_KIND_DEFAULT, SCH_SMTP_PORT_DEFAULT, SCH_SMTP_VRF_DEFAULT }
#define SCH_EMAIL_TRANSPORT_INITIALIZER \
  { "", "", "", SCH_SMTP_SERVER_INITIALIZER }
#define SCH_LOG_FILE_INITIALIZER \
  { {0, 0}, SCH_LOG_NAME_DEFAULT, SCH_LOG_SIZE_DEFAULT, 0, 0, 0, SCH_LOG_URI_DEFAULT, 0 }

/* What the blocks of sch_malloc_check() hold: the types that a memory tracker counts by. */
enum sch_memory_type {
  SCH_MEMORY_JOB_STATUS = 4,
  SCH_MEMORY_KEY = 5,
  SCH_MEMORY_JOB_HEADER = 6,
  SCH_MEMORY_FRAGMENT = 7,
  SCH_MEMORY_JOINED_TEXT = 12,
  SCH_MEMORY_SCHEDULE = 14 /* a schedule's record and entry, and an entry of its addresses */
};

/* The key of a configuration record. In memory in host order; sch_hton_config_key() makes the stored form. */
typedef struct sch_config_key {
  uint32_t type;
  uint32_t fragment;
  char name[SCH_NAME_SIZE];
} sch_config_key;

/* The key of a job status record; the name is the schedule's. */
typedef struct sch_runtime_key {
  uint32_t type;
  uint32_t job_id;
  char name[SCH_NAME_SIZE];
} sch_runtime_key;

/* A job's header: its slot in the table, a word of the service's that is stored unchanged, the bytes of its text. */
typedef struct sch_job_hdr {
  uint32_t job_id;
  uint32_t carried;
  uint32_t length;
} sch_job_hdr;

/* When a schedule runs. -1: not given. hour, day_of_week (1 = Sunday), day_of_month and minute count as written; month
 * is 0..11 and year since 1900 (as parsed: 1..12 and four digits). A periodic schedule repeats every day_of_week days,
 * hour hours and minute minutes from start_time on; last_run is the service's. */
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

/* A schedule as it is stored. Bit n of jobs (bit n % 32 of word n / 32) assigns job id n; the service owns the rest but
 * time. */
typedef struct sch_schedule_rec {
  uint32_t service_head[2];
  uint32_t jobs[8];
  uint32_t service_word;
  sch_tminfo time;
  uint32_t time_spare;
  uint8_t service_tail[60];
} sch_schedule_rec;

/* A schedule in a list: owns key and rec; the six words are the service's, zero at first. */
typedef struct sch_schedule_entry {
  sch_config_key *key;
  sch_schedule_rec *rec;
  uintptr_t service[6];
} sch_schedule_entry;

/* A slot of a job table, in use exactly when key is not null; its index is the job id. Owns all that it points at: the
 * fragments of the text, in order of arrival, and the sch_runtime_job_status entries.
 */
typedef struct sch_job_entry {
  uintptr_t reserved;
  sch_config_key *key;
  sch_job_hdr *hdr;
  GList *fragments;
  GList *status_list;
} sch_job_entry;

/* A configuration: SCH_MAX_JOBS slots, and where the list of sch_schedule_entry begins. */
typedef struct sch_config_db {
  sch_job_entry *jobs;
  GList **schedules;
} sch_config_db;

typedef struct sch_email_slot {
  char address[SCH_ADDRESS_SIZE];
  int32_t in_use;
} sch_email_slot;

/* The addresses that receive a schedule's output; count slots are in use. */
typedef struct sch_schedule_email_entry {
  char schedule_name[SCH_NAME_SIZE];
  int32_t count;
  sch_email_slot slots[SCH_MAX_EMAIL_IDS];
} sch_schedule_email_entry;

/* The outcome of a job under a schedule; the words are the service's. */
typedef struct sch_runtime_job_status {
  char schedule_name[SCH_NAME_SIZE];
  uint32_t job_id;
  uint32_t words[2];
} sch_runtime_job_status;

/* address_kind 1, 2 or 16 as the shell parsed the host; port and address_kind are big-endian when they travel. */
typedef struct sch_smtp_server_rec {
  char server[256];
  uint32_t address_kind;
  uint32_t port;
  char vrf[256];
} sch_smtp_server_rec;

/* The mail settings. reply_to_copy holds reply_to again. */
typedef struct sch_email_transport {
  char from[SCH_ADDRESS_SIZE];
  char reply_to[SCH_ADDRESS_SIZE];
  char reply_to_copy[SCH_ADDRESS_SIZE];
  sch_smtp_server_rec smtp;
} sch_email_transport;

/* The job log file. What is stored begins at name; size and offsets in bytes. */
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

/* How long a timer runs. */
typedef struct sch_timeval {
  int32_t seconds;
  int32_t microseconds;
} sch_timeval;

/* A user's password as the security service takes and gives it. kind is 2; form 0: clear, 7: sealed. */
typedef struct sch_security_user_rec {
  char user_name[128];
  uint32_t kind;
  uint32_t form;
  char password[128];
} sch_security_user_rec;

/* Who raises a message; one of a severity above current_level is not sent. */
typedef struct sch_syslog_facility {
  const char *name;
  uint32_t number;
  uint8_t default_level;
  uint8_t current_level;
} sch_syslog_facility;

/* A message: format takes the facility's name, the severity, then the message's own arguments. severity as in
 * syslog(3). */
typedef struct sch_syslog_msg {
  const char *name;
  const sch_syslog_facility *facility;
  const char *format;
  uint32_t severity;
} sch_syslog_msg;

/* A parameter of a command line: kind SCH_PARAM_STRING (value: a text), SCH_PARAM_INTEGER (value: a uint32_t) or the
 * shell's own (value: a parsed URI). sub_kind tells what kind of host address a host is. */
typedef struct sch_cli_param {
  uint32_t id;
  uint32_t kind;
  uint32_t unused[2];
  const void *value;
  uint32_t sub_kind;
} sch_cli_param;

/* A command as the shell parsed it; the shell's, read only. negate: the "no" form; debug: becomes cli_debug; skip and
 * feature_skip: do nothing and succeed; subcommand: which form of the command. */
typedef struct sch_cli_cmd_ctx {
  uint8_t param_count;
  uint32_t negate, debug, skip, feature_skip, shell_handle, subcommand;
  char user_name[32];
  char peer_name[32];
  sch_cli_param *const *params; /* parameter n is params[n - 1] */
} sch_cli_cmd_ctx;

/* The service's answer to SCH_OP_SHOW_JOB; length bytes of text follow. */
typedef struct sch_show_job_reply {
  char name[SCH_NAME_SIZE];
  int32_t job_id;
  uint32_t unread;
  int32_t length;
} sch_show_job_reply;

/* The service's answer to SCH_OP_SHOW_SCHEDULE; job_count entries of sch_job_status_entry follow. */
typedef struct sch_show_schedule_reply {
  int32_t number;
  char name[SCH_NAME_SIZE];
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

/* Of wait_status, bits 8 to 15 are the exit code. */
typedef struct sch_job_status_entry {
  char name[SCH_NAME_SIZE];
  uint32_t wait_status;
} sch_job_status_entry;

/* An answer to SCH_OP_SHOW_LOG: entry number of count; piece_length bytes of its total_length bytes of output follow.
 */
typedef struct sch_log_entry {
  uint32_t count;
  uint32_t number;
  char job[SCH_NAME_SIZE];
  char schedule[SCH_NAME_SIZE];
  char user[40];
  uint32_t wait_status;
  int32_t completion;
  int32_t total_length;
  uint32_t piece_length;
} sch_log_entry;

/* Globals, the library's whole state. */

/* The running and the startup configuration, and the one list of e-mail entries (of sch_schedule_email_entry). The
 * heads may be changed by anybody between calls. The startup configuration lives only while its text is generated. */
extern sch_job_entry sch_job_list[SCH_MAX_JOBS];
extern sch_job_entry startup_job_list[SCH_MAX_JOBS];
extern GList *sch_schedule_list;
extern GList *startup_schedule_list;
extern GList *sch_schedule_email_list;
extern sch_config_db sch_running_config;
extern sch_config_db sch_startup_config;

/* Settings beside the two lists. At load: address kind 1, port 25, VRF "management"; the log file's defaults; disabled.
 * Generating the startup configuration leaves the startup store's values in the first two and the flag. */
extern sch_email_transport email_transport_conf;
extern sch_log_file_rec sch_log_file;
extern sch_config_key sch_log_file_key;
extern int32_t scheduler_enabled;

/* Gates of the traces to standard error: of a command; of the service, above the trace's level (100, 102 or 103). */
extern uint32_t cli_debug;
extern int32_t debug_level;

/* The line being generated. */
extern char cfg_line[2048];

/* Where the stores are, empty until sch_pss_uri_init(), and their open handles, 0 when not open. */
extern char sch_pss_running_uri[64];
extern char sch_pss_running_db_uri[64];
extern char sch_debug_pss_running_uri[64];
extern char sch_pss_startup_uri[64];
extern char sch_debug_pss_startup_uri[64];
extern pss_handle pss_running;
extern pss_handle pss_running_db;
extern pss_handle debug_pss_running;

/* The messages to the administrator. Those of a severity above 5 are not sent. */
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

/* diag: memory and messages */

/* size zero-filled bytes tagged with mem_type; flags is ignored. The caller's, given back with mtrack_free(). Null
 * when memory is exhausted: then a trace and SCH_SYSLOG_MALLOC_ERR carry purpose, plain words without "%". Size 0
 * gives what mtrack_alloc() gives. */
void *sch_malloc_check(uint32_t size, uint32_t mem_type, uint32_t flags, const char *purpose);

/* Traces the parts of a platform error code at the level. Returns what the last debug call did; of no use to callers.
 */
int sch_syserr_log(int level, uint32_t error);

/* Sends a message through tarn_syslog() unless its severity is above the facility's current level. The arguments are
 * those of the format after the facility's name and the severity: none, a text, two texts, a text and a number, or two
 * texts and a number; a format of another shape is not sent. */
void sch_syslog_raise(const sch_syslog_msg *msg, ...);

/* db: jobs */

/* Enters a stored record, as the store gave it, into the configuration: a schedule, a job's header or a fragment of
 * its text; a record of another type is ignored. Key and value are copied: at most 40 bytes of the key and what the
 * record holds of the value, zero beyond a short one; a fragment is allocated exactly. Of a fragment shorter than its
 * job's header announces, sch_concat_fragments() reads what there is and gives zero for the rest. Returns 0, also when
 * the record was refused (see the next two); -1 when its memory could not be had: nothing is entered. Ignored and
 * failed records leave a copy of their key allocated. */
int sch_add_config_entry(sch_config_db *config, const pss_buf *key, const pss_buf *value);

/* Puts a header into the slot of its job id; takes key and hdr. Returns 0 and the slot; -1 for an id of SCH_MAX_JOBS
 * or above. A slot that has a key keeps it; a header that was there is replaced and stays allocated. */
int sch_add_job_hdr(sch_config_db *config, sch_config_key *key, sch_job_hdr *hdr, sch_job_entry **slot);

/* Appends a fragment of text to the job of the key's name; takes key and fragment. Returns 0 and the slot, -1 when no
 * job has the name. Fragments keep the order of arrival, whatever their numbers. */
int sch_add_job_data(sch_config_db *config, sch_config_key *key, void *fragment, sch_job_entry **slot);

/* Appends a status to the job of its job id; takes it. Returns 0, -1 when the id is out of range or its slot is free.
 */
int sch_add_runtime_job_status_entry(sch_config_db *config, sch_runtime_job_status *status);

/* Returns the lowest free job id, -1 when the table is full. */
int sch_first_empty_job_list_entry_index(const sch_config_db *config);

/* The job of exactly this name. Returns its id and sets slot; -1 and a null slot when there is none. */
int sch_find_job(const sch_config_db *config, const char *name, sch_job_entry **slot);

/* The first job at index or above. Returns its slot and sets index to its id; null and -1 when there is none. Walk
 * with index = 0 first and index + 1 after each. */
sch_job_entry *sch_next_job(const sch_config_db *config, int *index);

/* Joins the text of a job from its fragments into length bytes at destination, without a terminator; length is the
 * header's or less. Returns 0. A list that ends early leaves the bytes behind as they are; a length below 1 copies
 * nothing. */
int sch_concat_fragments(GList *fragments, char *destination, int32_t length);

/* As sch_concat_fragments(), with sch_replace_newline_with_semicolon() over each piece of SCH_FRAGMENT_SIZE bytes. */
int sch_show_run_concat_fragments(GList *fragments, char *destination, int32_t length);

/* Replaces each newline of the length bytes by ";", except in the last byte. */
void sch_replace_newline_with_semicolon(char *buffer, int32_t length);

/* Frees all that the slot owns and clears it. A free slot stays free. */
void sch_free_job_entry(sch_job_entry *slot);

/* Gives an element of a list back with mtrack_free(); for g_list_foreach(). The second argument is ignored. */
void free_fragment(void *fragment, void *unused);

/* Frees all jobs in use and all schedules. The e-mail entries stay. */
void sch_free_config(sch_config_db *config);

/* The key of the logging level in the debug stores: 4 bytes, static. */
const pss_buf *sch_get_syslog_pss_key(void);

/* db: schedules and addresses */

/* Appends a schedule without looking for its name; takes key and rec. Returns 0 and the entry, -1 when memory is
 * exhausted. */
int sch_add_schedule_entry(sch_config_db *config, sch_config_key *key, sch_schedule_rec *rec,
                           sch_schedule_entry **entry);

/* The first schedule of exactly this name; a null entry when there is none. Returns 0 always. */
int sch_find_schedule(const sch_config_db *config, const char *name, sch_schedule_entry **entry);

/* Unlinks and frees an element of the configuration's list with all that it owns. */
void sch_free_schedule_entry(sch_config_db *config, GList *element);

/* The first entry of exactly this schedule; null when there is none. Returns 0 always. */
int sch_find_schedule_email_entry(GList **list, const char *schedule, sch_schedule_email_entry **entry);

/* Adds an address to a schedule's entry, in the lowest free slot, or makes the entry. An address twice takes two
 * slots. Returns 0, -1 when the entry is full or memory is exhausted. */
int sch_add_schedule_email_entry(GList **list, const char *schedule, const char *address);

/* Appends an entry with one address without looking for the schedule. Returns 0, -1 when memory is exhausted. */
int sch_add_new_schedule_email_entry(GList **list, const char *schedule, const char *address);

/* Appends a copy of a stored entry. Returns 0, -1 when memory is exhausted. */
int sch_add_schedule_email_entry_from_pss(GList **list, const sch_schedule_email_entry *stored);

/* Unlinks the first entry whose schedule begins with this text. Returns 0 always. The entry and its list element stay
 * allocated: a caller that wants them freed finds them first. */
int sch_remove_schedule_email_entry(GList **list, const char *schedule);

/* Clears every address that begins with this text, of the first entry whose schedule begins with that one. An entry of
 * one address goes whole, whatever its address, as by sch_remove_schedule_email_entry(). Returns 0 always. */
int sch_remove_schedule_email_addr(GList **list, const char *schedule, const char *address);

/* time: texts into records, records into times */

/* Reads a name or a number into out. Returns 99 when the first three letters of one of count names match, in any case
 * (out is its index + 1), otherwise what reading a decimal number gave: 1, or 0 or EOF with out unchanged. */
int get_val(const char *text, const char *const *names, int count, int *out);

/* Reads up to five fields, MM, HH:MM, D:HH:MM, mmm:dd:HH:MM or yyyy:mmm:dd:HH:MM, of the text's first 17 characters,
 * into the record; the day of three fields goes to day_of_week. Ranges are not checked. Returns 0; -1 for a leading
 * ":" or too many fields; -2 for a field that does not read. Fields not given, and those behind a bad one, are
 * unchanged. */
int sch_parse_str_to_tminfo(const char *text, sch_tminfo *record);

/* Traces the record, a line for each field. */
void print_tminfo(const sch_tminfo *record);

/* Completes a one-shot time from now_tm: a text beginning with "+" is relative to it, fields not given are its own.
 * Returns what sch_verify_tminfo() does, or SCH_ERR_BAD_TIME_FORMAT for a text that does not parse and for a relative
 * time with a month. The record is written to in any case. */
int get_start_time(const char *text, sch_tminfo *record, const struct tm *now_tm);

/* Checks the ranges of the record's type, and that a one-shot or periodic start is not before now. Returns 0,
 * SCH_ERR_INVALID_TIME or SCH_ERR_TIME_IN_PAST; 0 for a type without ranges. */
int sch_verify_tminfo(const sch_tminfo *record);

/* Returns the day, or the last day of the month if that is less; year since 1900, month 0..11. A month out of range
 * returns the day. */
int normalize_day_of_month(int year, int month, int day);

/* Returns the time of a record's year, month, day_of_month, hour and minute, read as standard time; -1 as mktime(). */
time_t mktime_from_tminfo(const sch_tminfo *record);

/* Carries minutes, hours, days and months that are out of range into the next field. */
void normalize_incremental_time(sch_tminfo *record);

/* The seconds of a periodic schedule's day_of_week days, hour hours and minute minutes. Returns 0 always. */
int sch_compute_delta(const sch_tminfo *record, int32_t *seconds);

/* Traces the two numbers. */
void print_timeval(const sch_timeval *value);

/* The schedule's next run at or after now: next_time, and the interval until it. Returns 0. -1 when it would be before
 * now: then the interval is zero and next_time unchanged; and for a type without a time: both unchanged. */
int sch_compute_timer_interval(const sch_tminfo *record, sch_timeval *interval, time_t *next_time);

/*
 * cli: the handlers of the configuration commands. Each checks its input, sends one request to the service, waits for
 * the answer and says on standard error what went wrong. Returns 0 on success, 2 when memory is exhausted, 255 for
 * invalid input, a user who may not, or a refusal it has told, and what a handler adds to that.
 */

/* Writes what is wrong with a time and which form is wanted: code is a status 0x40bd000b to 0x40bd000e, the type is
 * the schedule's. Returns what the last write did. */
int sch_cli_disp_error(uint32_t code, uint32_t schedule_type);

/* Creates the job of parameter 1, or deletes it when negated. */
int sch_cli_create_delete_job(const sch_cli_cmd_ctx *ctx);

/* Sets the text of the job of parameter 1 to the lines of parameter 2, separated by ";", as many as 8182 bytes hold.
 * Returns the service's status when it fails. */
int sch_cli_semicolon_delimiter_define_job(const sch_cli_cmd_ctx *ctx);

/* Sets the text of a job to text_length bytes as they are; no check of the name or user. Returns the service's status,
 * 2 when memory is exhausted. */
int sch_cli_define_job(uint32_t shell_handle, const char *text, uint32_t text_length, const char *job_name,
                       const char *user_name, const char *peer_name);

/* Creates the schedule of parameter 1, or deletes it when negated. Returns the service's status when a delete fails,
 * and, silently, SCH_STATUS_EXISTS. */
int sch_cli_create_delete_schedule(const sch_cli_cmd_ctx *ctx);

/* Sets or clears the time of the schedule of parameter 1, or assigns a job or, negated, deassigns it, by subcommand:
 * the schedule types, SCH_MODIFY_JOB, SCH_MODIFY_CLEAR_TIME. Returns -1 for a bad time and for "no" with another
 * subcommand, and the service's status when it fails. */
int sch_cli_modify_schedule(const sch_cli_cmd_ctx *ctx);

/* Sets the log file's size to parameter 1, an integer in units of 1024 bytes, or to the default when negated. Returns
 * the service's status when it fails. */
int sch_cli_logfile_resize(const sch_cli_cmd_ctx *ctx);

/* Moves the log file to parameter 1, a URI, or to the default when negated. A file that exists is refused with a
 * message and 0. Returns the service's status when it fails. */
int sch_cli_logfile_rename(const sch_cli_cmd_ctx *ctx);

/* Empties the log file. Returns the service's status when it fails. */
int sch_cli_logfile_clear(const sch_cli_cmd_ctx *ctx);

/* Enables the feature, or disables it when negated and takes its commands from the shell. Returns 1 when the feature
 * manager refuses, except that it is so already: then 0, after the message. */
int sch_enable_scheduler(const sch_cli_cmd_ctx *ctx);

/* Returns 0; the shell expects an entry here. */
int sch_cli_dummy_cfg_gen(void);

/* Sets, or clears when negated, the sender or reply-to address of parameter 1 or the mail server of parameters 1 to 3
 * (host, port or VRF, VRF), by subcommand SCH_EMAIL_*. Returns 1 for a host of an unknown kind, and the service's
 * status when it fails. */
int sch_cli_config_email_transport(const sch_cli_cmd_ctx *ctx);

/* Adds the address of parameter 2 to the schedule of parameter 1, or removes it when negated. Returns the service's
 * status when it fails. */
int sch_cli_modify_schedule_emailaddr(const sch_cli_cmd_ctx *ctx);

/* Whether the user may own jobs. Returns 0 for a local user and for a remote one with a stored password,
 * SCH_STATUS_NO_USER_NAME for a null or empty name, SCH_STATUS_NO_PASSWORD otherwise. */
uint32_t sch_validate_remote_user(uint32_t shell_handle, const char *user_name);

/* As sch_validate_remote_user(), and a remote user's password must be accepted; SCH_STATUS_AUTHENTICATION_FAILED when
 * it is not. The clear password is wiped. */
uint32_t sch_validate_authentication_passwd(uint32_t shell_handle, const char *user_name);

/* Stores the scheduler password of the operator or another user, or removes it when negated, from the parameters
 * SCH_PARAM_USER_NAME, SCH_PARAM_CLEAR_PASSWORD and SCH_PARAM_SEALED_PASSWORD in any order. Returns 8, or 9 when it
 * fails or the password is not accepted. */
int sch_cli_aaa_auth_passwd(const sch_cli_cmd_ctx *ctx);

/* pss: records into stores and back */

/* Makes a key's two words big-endian, the stored form. */
void sch_hton_config_key(sch_config_key *key);

/* Makes a stored key's two words host order. */
void sch_ntoh_config_key(sch_config_key *key);

/* Makes a key's two words big-endian, the stored form. */
void sch_hton_runtime_key(sch_runtime_key *key);

/* Makes a stored key's two words host order. */
void sch_ntoh_runtime_key(sch_runtime_key *key);

/* Asks the system manager where the five stores are; one without an answer keeps its URI. Returns 0 always. */
int sch_pss_uri_init(void);

/* Creates a store with these limits (0: none) and version 1.1; size is ignored, and of max_value_size the low 16 bits
 * count. Returns 0, also when the store exists, which is left as it is; 65 when it cannot be created or limited. Its
 * handle is left open. */
int sch_pss_create(const char *uri, uint32_t size, uint32_t max_value_size, uint16_t max_key_size);

/* Opens the running stores, creating what is missing, and restores sch_running_config and the settings: from the
 * running stores, or, after a stateless restart, from the startup store, which is then saved to the running one.
 * Returns 0; 66 when a running store cannot be opened. */
int sch_pss_init(void);

/* Closes pss_running and pss_running_db and ends the debug service with arg. Returns what sdwrap_sys_clean() does. */
int sch_pss_close_handles(void *arg);

/* Stores the sender address. Returns 0, -1 with a trace when the store refuses. */
int sch_save_email_from_conf_to_pss(pss_handle store, const sch_email_transport *conf);

/* Stores the reply-to address. Returns 0, -1 with a trace when the store refuses. */
int sch_save_email_replyto_conf_to_pss(pss_handle store, const sch_email_transport *conf);

/* Stores the mail server. Returns 0, -1 with a trace when the store refuses. */
int sch_save_email_smtpserver_conf_to_pss(pss_handle store, const sch_email_transport *conf);

/* Stores a schedule's addresses; a null entry stores nothing and returns 0. Returns 0, -1 with a trace when the store
 * refuses. */
int sch_save_schedule_email_entry_to_pss(pss_handle store, const sch_schedule_email_entry *entry);

/* Stores a schedule under its key. Returns 0, -1 with a trace when the store refuses. */
int sch_save_schedule_entry_to_pss(pss_handle store, const sch_schedule_entry *entry);

/* Stores the log file's record under the key. Returns 0, -1 with a trace when the store refuses. */
int sch_save_log_file_entry_to_pss(pss_handle store, const sch_config_key *key, const sch_log_file_rec *log_file);

/* Stores the enable flag under the key. Returns 0, -1 with a trace when the store refuses. */
int sch_save_condition_entry_to_pss(pss_handle store, const sch_config_key *key, int32_t flag);

/* Stores a job's header, then its fragments 1, 2, ..., as long as its text. Returns 0; -1 with a trace at the first
 * refusal: what was stored before stays. The fragment number of the slot's key is left at the last one. */
int sch_save_job_entry_to_pss(pss_handle store, sch_job_entry *slot);

/* Removes a schedule's addresses. Returns 0, whatever the store answers. */
int sch_delete_schedule_email_entry_from_pss(pss_handle store, const sch_schedule_email_entry *entry);

/* Removes a schedule. Returns 0, whatever the store answers. */
int sch_delete_schedule_entry_from_pss(pss_handle store, const sch_schedule_entry *entry);

/* Removes a job's header and as many fragments as its list has. Returns 0, whatever the store answers. */
int sch_delete_job_entry_from_pss(pss_handle store, const sch_job_entry *slot);

/* Stores all schedules, all jobs that have a text, and the log file's record; not the mail settings, addresses and
 * flag. Returns 0, whatever the store answers. */
int sch_save_config_to_pss(sch_config_db *config, pss_handle store);

/* Reads every record of a store: jobs and schedules into the configuration, settings and addresses into the globals.
 * Returns 0 always; a record that cannot be read is skipped. Each job's fragments come in the order of their numbers; a
 * store that does not give its keys in ascending order is walked again for each number. */
int sch_restore_config_from_pss(sch_config_db *config, pss_handle store);

/* Reads every record of the database store as a job status into the configuration's jobs. Returns 0 always; stops
 * where memory is exhausted. */
int sch_restore_db_from_pss(sch_config_db *config, pss_handle store);

/* Stores a job's status. Returns 0, -1 with a trace when the store refuses. */
int sch_save_runtime_job_status_entry_to_pss(pss_handle store, const sch_runtime_job_status *status);

/* Stores all statuses of a job. Returns 0, whatever the store answers. */
int sch_save_runtime_job_status_to_pss(pss_handle store, const sch_job_entry *slot);

/* Stores the statuses of all jobs that have a text. Returns 0, whatever the store answers. */
int sch_save_db_to_pss(sch_config_db *config, pss_handle store);

/* Deletes under key type 4, not the type that a status is stored under: the record stays. Returns what pss_delete()
 * does. */
int sch_delete_job_status_entry_from_pss(pss_handle store, const sch_runtime_job_status *status);

/* Frees all statuses of a job, with sch_delete_job_status_entry_from_pss() of each. Returns 0, whatever the store
 * answers. */
int sch_delete_all_status_for_job_from_pss(pss_handle store, sch_job_entry *slot);

/* Copies a whole store over another. Returns 0; -1 when the source cannot be opened, or, with
 * SCH_SYSLOG_PSS_SNAPSHOT_ERR, copied. */
int sch_pss_snapshot(const char *source_uri, const char *destination_uri);

/* Opens the running stores on a standby, creating the one that does not open; restores nothing. Returns 0 or the error
 * of the last open. */
int sch_standby_pss_init(void);

/* Makes the running stores anew, empty, and opens them. Returns 0 or the error of the open that failed. Handles open
 * before are not closed. */
int sch_standby_pss_init_gsync_fail(void);

/* Shrinks a store that has more than max_free bytes free. Returns the handle from now on, 0 when shrinking failed;
 * status receives the platform's code, 0 on success. */
pss_handle sch_verify_pss_shrink(pss_handle store, const char *uri, uint32_t max_free, uint32_t *status);

/* Shrinks the three running stores in turn, up to the first failure. Returns 0 or its code; that store's handle is
 * then 0. */
int sch_pss_shrink(uint32_t max_free);

/*
 * show: what the service knows, asked page by page and printed to standard output. A listing returns 0, 1 when the
 * service does not answer (told on standard error, what was printed stays), 2 when memory is exhausted.
 */

/* Lists the job of parameter 1, or all. Returns 0, also when there is none. */
int sch_cli_show_jobs(const sch_cli_cmd_ctx *ctx);

/* Lists the schedule of parameter 1 with its run history, or all. Returns 0, also when there is none. */
int sch_cli_show_schedules(const sch_cli_cmd_ctx *ctx);

/* Prints the service's configuration as command blocks to paste back. Returns 0 always. */
int sch_cli_show_config(const sch_cli_cmd_ctx *ctx);

/* Prints the job log, of the job of parameter 1 or whole. Returns 0, also when it breaks off; the code of a failed
 * send. */
int sch_cli_show_logfile(const sch_cli_cmd_ctx *ctx);

/* Asks the service to print its memory statistics. Returns 0 always. */
int sch_cli_show_memstats(const sch_cli_cmd_ctx *ctx);

/* Prints the block's beginning, the feature and the log file's size. Returns 0, 1 when the service does not answer. */
int get_log_file_config(const sch_cli_cmd_ctx *ctx);

/* Prints every job as a block. Returns as the listing does. */
int get_job_config(const sch_cli_cmd_ctx *ctx);

/* Prints every schedule as a block. Returns as the listing does. */
int get_schedule_config(const sch_cli_cmd_ctx *ctx);

/* Prints the lines of the mail settings. Returns 0, 1 when the service does not answer. */
int sch_cli_get_email_transport_config(const sch_cli_cmd_ctx *ctx);

/* Prints a character count times; nothing for a count below 1. */
void print_line(int count, char character);

/* Prints a job of the listing. The reply's text must follow it. */
void display_job(const sch_show_job_reply *reply);

/* Prints a schedule of the listing. The reply's status entries must follow it. */
void display_schedule(const sch_show_schedule_reply *reply);

/* Prints the line that says when a schedule runs. */
void print_schedule_type(const sch_tminfo *time_info);

/* Prints the weekly wording of that line. */
void print_weekly_schedule(const sch_tminfo *time_info);

/* Prints the monthly wording of that line. */
void print_monthly_schedule(const sch_tminfo *time_info);

/* Prints the heading of the job status table. */
void print_status_heading(void);

/* Prints a line of the job status table; not_yet_run other than 0: without an outcome. */
void print_status(const sch_job_status_entry *entry, int not_yet_run);

/* Prints a job's block. The reply's text must follow it. */
void print_config_job(const sch_show_job_reply *reply);

/* Prints a schedule's block. The reply's status entries must follow it. */
void print_config_schedule(const sch_show_schedule_reply *reply);

/* Prints the block's time line; nothing for a type without a time. With a buffer, appends the same pieces there
 * instead, at most 4 characters of each; the buffer must hold a text and have room. */
void print_config_schedule_type(const sch_tminfo *time_info, char *buffer);

/* Prints the block's line of a job, at most 32 characters of the name. */
void print_config_assigned_job(const char *name);

/* Prints the block's lines of the addresses in use. */
void print_config_schedule_email_addr(const sch_show_schedule_reply *reply);

/* Receives the answers to a sent request and prints each entry. Returns 0 after the last; -1 when a message cannot be
 * received or parsed, which it prints. */
int display_log_entries(uint32_t mts_handle, const cmi_sent_request *sent);

/* Joins one entry's output from its first message and those received after it, and prints the entry. Returns 0; -1
 * when memory is exhausted or a message cannot be received or parsed, which it prints. What exceeds the announced
 * total is dropped. */
int collate_and_display_log(uint32_t mts_handle, const sch_log_entry *first, const mts_selector *selector);

/* Prints one entry with total_length bytes of output. */
void display_log_entry(const sch_log_entry *entry, const char *output);

/* acfg: the configuration as text */

/* Writes the whole configuration as text into the handle: first the logging level of the debug store (0: none), then
 * the settings, jobs and schedules. Returns 0 always; what cannot be read or allocated is left out. */
int sch_acfg_gen(sch_config_db *config, acfg_hdl *handle, pss_handle debug_store);

/* Writes all jobs, in the order of their ids. Returns 0 always. */
int sch_acfg_job_cfg_gen(sch_config_db *config, acfg_hdl *handle);

/* Writes a job; without its text when memory is exhausted. Returns 0 always. */
int sch_add_job_cfg(sch_config_db *config, acfg_hdl *handle, sch_job_entry *slot);

/* Writes all schedules, in the order of the list. Returns 0 always. */
int sch_acfg_schedule_cfg_gen(sch_config_db *config, acfg_hdl *handle);

/* Writes a schedule with its jobs, time and addresses. Returns 0 always. */
int sch_add_schedule_cfg(sch_config_db *config, acfg_hdl *handle, sch_schedule_entry *schedule);

/* Formats a schedule's time line into size bytes. Returns 0 always. A null buffer or a type without a time writes
 * nothing. */
int sch_acfg_print_schedule_type(const sch_tminfo *time_info, char *buffer, uint32_t size);

/* Copies at most size - 1 characters and terminates; a null source gives an empty text. Size 0 writes nothing. */
void sch_strcpy(char *destination, const char *source, size_t size);

/* Answers the configuration manager's request for the running or startup configuration, both arguments passed through.
 * Returns what acfg_respond() does; a store that cannot be opened gives an empty answer. */
int sch_acfgcb_cfg_gen(void *message, void *request);

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif
#endif
