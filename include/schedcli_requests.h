/* SPDX-License-Identifier: Apache-2.0 */
/*
 * What travels between the command handlers of libschedcli and the scheduler service: for whoever writes a service.
 * docs/integrators-guide.md lists it on a page, and examples/simulated-switch has such a service.
 *
 * - Transport. A handler passes one request to the platform (platform/cmi.h) by cmi_req_resp(), with a service number
 *   and a message class, and waits for the reply.
 *   SCH_OP_SHOW_LOG alone is sent by cmi_send_request() and answered by a stream.
 * - A request is sch_request_header and, directly behind it, the payload of its opcode. payload_length counts the
 *   payload alone. A service refuses a record whose length is not 8 + payload_length, and a payload that is shorter or
 *   longer than its record here; only SCH_OP_DEFINE_JOB has more behind its record.
 * - Offsets and sizes are asserted below and the same on every machine; no record has padding. A field is at 8 (the
 *   size of the header) plus its offset in the payload's record.
 * - Integers are in host byte order, both ends being one machine's. The two of sch_smtp_server_rec are big-endian.
 * - Reserved words, and what a form of a request does not fill, are 0.
 * - Texts from a handler end with a NUL and are NUL-padded; a text longer than its field was cut. Exceptions are named
 *   at their field. Another sender may send anything: a service bounds each text by its field.
 * - A reply is a status and, with status 0, perhaps a record. One that is shorter than its record and the bytes that
 *   this announces is shown as an error; further bytes are ignored. No record at all (a null reply of
 *   cmi_req_resp()) means: nothing, or nothing more. The handlers free a reply whatever the status is.
 * - Statuses. 0 is success: the change is made, and a service that keeps its configuration has stored it. Any other is
 *   printed by syserr2str(), so a service may add its own. A status that a handler treats specially is named at its
 *   request. Two may answer any request: SCH_STATUS_NO_USER_NAME for a caller without a name, SCH_STATUS_NO_PASSWORD
 *   for a user of another machine without a stored password, whom later runs could not authenticate.
 * - The transport identifies the caller (its user and peer name); no payload does.
 */
#ifndef SCHEDCLI_REQUESTS_H
#define SCHEDCLI_REQUESTS_H

#include <assert.h>

#include "schedcli.h"

#ifdef __cplusplus
extern "C" {
#endif

/* clang-format off */
#define SCH_RECORD_SIZE(record, size) static_assert(sizeof(record) == (size), "the size of " #record " is what travels")
#define SCH_FIELD_AT(record, field, offset) \
  static_assert(offsetof(record, field) == (offset), "the place of " #field " in " #record " is what travels")
/* clang-format on */

/* Services of the transport. */
#define SCH_SERVICE_CONFIG 5950u
#define SCH_SERVICE_SHOW 5951u

/* Message classes: of all requests to SCH_SERVICE_CONFIG; of those to SCH_SERVICE_SHOW; of SCH_OP_SHOW_EMAIL_CONFIG. */
#define SCH_CLASS_CONFIG 3u
#define SCH_CLASS_SHOW 2u
#define SCH_CLASS_EMAIL 1u

/* The first 8 bytes of every request. */
typedef struct sch_request_header {
  uint32_t opcode;
  uint32_t payload_length;
} sch_request_header;
SCH_RECORD_SIZE(sch_request_header, 8);
SCH_FIELD_AT(sch_request_header, payload_length, 4);

/*
 * SCH_SERVICE_CONFIG: changes. Replies carry no record.
 */

/* Creates or deletes an empty job (sch_job_request, text_length 0), or replaces a job's whole text (sch_job_request and
 * text_length bytes). SCH_STATUS_EXISTS refuses a job to create that is there: the operator reads "job exists". */
#define SCH_OP_CREATE_JOB 0u
#define SCH_OP_DEFINE_JOB 1u
#define SCH_OP_DELETE_JOB 2u

/* Creates or deletes a schedule (sch_named_request). SCH_STATUS_EXISTS refuses a schedule to create that is there; the
 * handler hands it on in silence, so that entering a schedule that exists is no error. */
#define SCH_OP_CREATE_SCHEDULE 3u
#define SCH_OP_DELETE_SCHEDULE 5u

/* A job or schedule by its name. negate is 1 to delete, otherwise 0, as the opcode says. A name has 1 to 31 letters,
 * digits, '_' and '-', and begins with a letter or digit. The handlers cut it and check this; a service does again. */
typedef struct sch_named_request {
  uint32_t negate;
  uint32_t reserved;
  char name[SCH_NAME_SIZE];
} sch_named_request;
SCH_RECORD_SIZE(sch_named_request, 40);
SCH_FIELD_AT(sch_named_request, name, 8);

/* A job; to define it, text_length bytes of text follow: lines, each ended by '\n', without a NUL at the end. A text
 * from a command line has at most 8183 bytes; sch_cli_define_job() sends whatever it is given, so a service needs a
 * limit of its own: see SCH_JOB_TEXT_LIMIT. head.negate is 0 when the text is defined. */
typedef struct sch_job_request {
  sch_named_request head;
  uint32_t reserved;
  uint32_t text_length;
} sch_job_request;
SCH_RECORD_SIZE(sch_job_request, 48);
SCH_FIELD_AT(sch_job_request, reserved, 40);
SCH_FIELD_AT(sch_job_request, text_length, 44);

/* Changes a schedule (sch_modify_request). */
#define SCH_OP_MODIFY_SCHEDULE 4u

/* subcommand says what is changed:
 * - SCH_SCHEDULE_ONESHOT, _DAILY, _WEEKLY, _MONTHLY, _PERIODIC: the time, which is complete and verified and has this
 *   type; negate is 0. A service that does not take the time answers SCH_STATUS_BAD_TIME_FORMAT, _TIME_OUT_OF_RANGE or
 *   _TIME_IN_PAST.
 * - SCH_MODIFY_CLEAR_TIME: no time any more; time is all 0.
 * - SCH_MODIFY_JOB: job is assigned or, with negate, deassigned; time is all 0. The handler has not checked job.
 * - Anything else is sent as it came from the shell, with an empty job and time: a service refuses it. */
typedef struct sch_modify_request {
  uint32_t negate;
  uint32_t reserved;
  uint32_t subcommand;
  char schedule[SCH_NAME_SIZE];
  char job[SCH_NAME_SIZE];
  uint32_t reserved_2;
  sch_tminfo time;
  uint32_t reserved_3;
} sch_modify_request;
SCH_RECORD_SIZE(sch_modify_request, 120);
SCH_RECORD_SIZE(sch_tminfo, 36);
SCH_FIELD_AT(sch_modify_request, subcommand, 8);
SCH_FIELD_AT(sch_modify_request, schedule, 12);
SCH_FIELD_AT(sch_modify_request, job, 44);
SCH_FIELD_AT(sch_modify_request, time, 80);

/* Sets the job log's size, moves it, empties it (sch_log_file_request). */
#define SCH_OP_RESIZE_LOG 9u
#define SCH_OP_RENAME_LOG 10u
#define SCH_OP_CLEAR_LOG 11u

/* Only what the opcode is about is filled:
 * - SCH_OP_RESIZE_LOG: size in bytes. The operator gives units of SCH_LOG_SIZE_UNIT, which are multiplied in 32 bits
 *   without a check; a service bounds the product: see SCH_LOG_SIZE_MIN. With negate the default.
 * - SCH_OP_RENAME_LOG: uri as the operator gave it and name, the path that it means on this machine. No file was there
 *   when the handler looked. With negate the defaults. A service maps the uri itself: a path of the sender's choice
 *   would be written with the service's rights.
 * - SCH_OP_CLEAR_LOG: nothing. */
typedef struct sch_log_file_request {
  uint32_t negate;
  uint32_t reserved;
  char name[256];
  char uri[256];
  uint32_t size;
} sch_log_file_request;
SCH_RECORD_SIZE(sch_log_file_request, 524);
SCH_FIELD_AT(sch_log_file_request, name, 8);
SCH_FIELD_AT(sch_log_file_request, uri, 264);
SCH_FIELD_AT(sch_log_file_request, size, 520);

/* How job output is mailed: the whole sch_email_transport, of which each opcode reads its own fields: from; reply_to
 * and reply_to_copy, the same text; smtp. The clearing ones bring nothing but, with SCH_OP_CLEAR_EMAIL_SMTP, the
 * default port. An empty smtp.vrf asks for the default one. Addresses and hosts are not checked by the handlers, only
 * cut. */
#define SCH_OP_SET_EMAIL_FROM 13u
#define SCH_OP_CLEAR_EMAIL_FROM 14u
#define SCH_OP_SET_EMAIL_REPLYTO 15u
#define SCH_OP_CLEAR_EMAIL_REPLYTO 16u
#define SCH_OP_SET_EMAIL_SMTP 17u
#define SCH_OP_CLEAR_EMAIL_SMTP 18u
SCH_RECORD_SIZE(sch_email_transport, 712);
SCH_FIELD_AT(sch_email_transport, from, 0);
SCH_FIELD_AT(sch_email_transport, reply_to, 64);
SCH_FIELD_AT(sch_email_transport, reply_to_copy, 128);
SCH_FIELD_AT(sch_email_transport, smtp, 192);
SCH_FIELD_AT(sch_smtp_server_rec, address_kind, 256);
SCH_FIELD_AT(sch_smtp_server_rec, port, 260);
SCH_FIELD_AT(sch_smtp_server_rec, vrf, 264);

/* Adds an address to a schedule or removes it (sch_schedule_email_request). At most SCH_MAX_EMAIL_IDS can be kept. */
#define SCH_OP_SCHEDULE_EMAIL 20u

/* Values of the operation. */
#define SCH_EMAIL_ADD 20
#define SCH_EMAIL_REMOVE 21

/* Of byte-sized fields alone, so that it needs no packed attribute although its size is odd. The address was not
 * checked. */
typedef struct sch_schedule_email_request {
  uint8_t operation;
  char schedule[SCH_NAME_SIZE];
  char address[SCH_ADDRESS_SIZE];
} sch_schedule_email_request;
SCH_RECORD_SIZE(sch_schedule_email_request, 97);
SCH_FIELD_AT(sch_schedule_email_request, schedule, 1);
SCH_FIELD_AT(sch_schedule_email_request, address, 33);

/*
 * SCH_SERVICE_SHOW: questions. Nothing is changed.
 */

/* The next schedule or job: sch_show_request, answered by sch_show_schedule_reply or sch_show_job_reply. */
#define SCH_OP_SHOW_SCHEDULE 6u
#define SCH_OP_SHOW_JOB 7u

/* The job log: sch_show_request, answered by a stream of sch_log_entry. cursor is SCH_CURSOR_FIRST; name, when it is
 * not empty, is that of a job or schedule. */
#define SCH_OP_SHOW_LOG 8u

/* Names one job or schedule, or, with an empty name, asks for all of them page by page: each reply brings the one with
 * the lowest number above the cursor, and the next request carries that number as its cursor; the first carries
 * SCH_CURSOR_FIRST. Numbers are a job's id and a schedule's number of the service's choice, unique and not negative.
 * A listing is no snapshot: what is added or removed between two pages may or may not be seen; nothing is seen twice.
 * No record in the reply, with status 0: there is no such one, or no further one.
 *
 * A name of 32 characters fills its field and has no NUL; cut at 31 it could be another's. */
typedef struct sch_show_request {
  uint32_t reserved;
  char name[SCH_NAME_SIZE];
  int32_t cursor;
} sch_show_request;
SCH_RECORD_SIZE(sch_show_request, 40);
SCH_FIELD_AT(sch_show_request, name, 4);
SCH_FIELD_AT(sch_show_request, cursor, 36);

#define SCH_CURSOR_FIRST (-1)

/* A job: job_id is the cursor of the next request; length bytes of text follow, shown as they are. */
SCH_RECORD_SIZE(sch_show_job_reply, 44);
SCH_FIELD_AT(sch_show_job_reply, job_id, 32);
SCH_FIELD_AT(sch_show_job_reply, length, 40);

/* A schedule: number is the cursor of the next request; job_count records sch_job_status_entry follow, one for each job
 * that is assigned. last_completion 0 says that it has not run: then last_execution, execution_count and the statuses
 * are not shown. Of the addresses, email_count 0 says that there is none, and only slots in use are shown. */
SCH_RECORD_SIZE(sch_show_schedule_reply, 820);
SCH_FIELD_AT(sch_show_schedule_reply, name, 4);
SCH_FIELD_AT(sch_show_schedule_reply, time, 36);
SCH_FIELD_AT(sch_show_schedule_reply, last_completion, 80);
SCH_FIELD_AT(sch_show_schedule_reply, job_count, 84);
SCH_FIELD_AT(sch_show_schedule_reply, user, 88);
SCH_FIELD_AT(sch_show_schedule_reply, last_execution, 128);
SCH_FIELD_AT(sch_show_schedule_reply, execution_count, 132);
SCH_FIELD_AT(sch_show_schedule_reply, email_count, 136);
SCH_FIELD_AT(sch_show_schedule_reply, emails, 140);
SCH_RECORD_SIZE(sch_email_slot, 68);
SCH_FIELD_AT(sch_email_slot, in_use, 64);
SCH_RECORD_SIZE(sch_job_status_entry, 36);
SCH_FIELD_AT(sch_job_status_entry, wait_status, 32);

/* A message of the log's stream: entries in the order in which they are printed, as many messages for each as its
 * output needs. count is the number of entries and the same in all messages; number counts them from 1. An entry ends
 * when its pieces (piece_length bytes behind the record) reach total_length, which the first of its messages announces;
 * of the others only the piece is read, and what goes beyond total_length is dropped. The stream ends with the entry
 * whose number is count. An empty log is one message with count 0, of which nothing else need be there. Of wait_status
 * 0 is success, and bits 8 to 15 are the exit code that is shown. */
SCH_RECORD_SIZE(sch_log_entry, 128);
SCH_FIELD_AT(sch_log_entry, number, 4);
SCH_FIELD_AT(sch_log_entry, job, 8);
SCH_FIELD_AT(sch_log_entry, schedule, 40);
SCH_FIELD_AT(sch_log_entry, user, 72);
SCH_FIELD_AT(sch_log_entry, wait_status, 112);
SCH_FIELD_AT(sch_log_entry, completion, 116);
SCH_FIELD_AT(sch_log_entry, total_length, 120);
SCH_FIELD_AT(sch_log_entry, piece_length, 124);

/* The job log's settings: no payload, answered by sch_log_config_reply. */
#define SCH_OP_SHOW_LOG_CONFIG 12u

/* size in bytes. */
typedef struct sch_log_config_reply {
  int32_t size;
} sch_log_config_reply;
SCH_RECORD_SIZE(sch_log_config_reply, 4);

/* How job output is mailed: no payload, in message class SCH_CLASS_EMAIL, answered by sch_email_transport, whose
 * integers are big-endian. The handler reads up to smtp.port; from, reply_to and smtp.server are shown when they are
 * not empty. */
#define SCH_OP_SHOW_EMAIL_CONFIG 19u

/*
 * Limits of the service schedd, and of the shell schedsh, which tells the operator before anything is sent. Those of
 * another service are its own.
 */

/* A job's text travels whole, in the request that defines it and in the reply that shows it: 60 fragments leave a frame
 * of the transport, 64 KiB, room for its headers. */
#define SCH_JOB_TEXT_LIMIT (60 * SCH_FRAGMENT_SIZE)

/* Bytes of the job log. A smaller one holds no outcome with a few lines; a larger one makes the show command wait for
 * the disk. */
#define SCH_LOG_SIZE_MIN (1 * SCH_LOG_SIZE_UNIT)
#define SCH_LOG_SIZE_MAX (16384 * SCH_LOG_SIZE_UNIT)

#ifdef __cplusplus
}
#endif
#endif
