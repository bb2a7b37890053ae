// SPDX-License-Identifier: Apache-2.0
// Records that travel or are stored have the same layout on every machine. Those with pointers consist of machine
// words.
#include "schedcli.h"

namespace {

constexpr size_t word = sizeof(void *);
#define AT(record, field, offset) static_assert(offsetof(record, field) == (offset))

static_assert(sizeof(sch_config_key) == 40);
AT(sch_config_key, type, 0);
AT(sch_config_key, fragment, 4);
AT(sch_config_key, name, 8);

static_assert(sizeof(sch_runtime_key) == 40);
AT(sch_runtime_key, type, 0);
AT(sch_runtime_key, job_id, 4);
AT(sch_runtime_key, name, 8);

static_assert(sizeof(sch_job_hdr) == 12);
AT(sch_job_hdr, job_id, 0);
AT(sch_job_hdr, carried, 4);
AT(sch_job_hdr, length, 8);

static_assert(sizeof(sch_tminfo) == 36);
AT(sch_tminfo, type, 0);
AT(sch_tminfo, hour, 4);
AT(sch_tminfo, day_of_week, 8);
AT(sch_tminfo, day_of_month, 12);
AT(sch_tminfo, minute, 16);
AT(sch_tminfo, month, 20);
AT(sch_tminfo, year, 24);
AT(sch_tminfo, start_time, 28);
AT(sch_tminfo, last_run, 32);

static_assert(sizeof(sch_schedule_rec) == 144);
AT(sch_schedule_rec, service_head, 0);
AT(sch_schedule_rec, jobs, 8);
AT(sch_schedule_rec, service_word, 40);
AT(sch_schedule_rec, time, 44);
AT(sch_schedule_rec, time_spare, 80);
AT(sch_schedule_rec, service_tail, 84);

static_assert(sizeof(sch_email_slot) == 68);
AT(sch_email_slot, address, 0);
AT(sch_email_slot, in_use, 64);

static_assert(sizeof(sch_schedule_email_entry) == 716);
AT(sch_schedule_email_entry, schedule_name, 0);
AT(sch_schedule_email_entry, count, 32);
AT(sch_schedule_email_entry, slots, 36);

static_assert(sizeof(sch_runtime_job_status) == 44);
AT(sch_runtime_job_status, schedule_name, 0);
AT(sch_runtime_job_status, job_id, 32);
AT(sch_runtime_job_status, words, 36);

static_assert(sizeof(sch_smtp_server_rec) == 520);
AT(sch_smtp_server_rec, server, 0);
AT(sch_smtp_server_rec, address_kind, 256);
AT(sch_smtp_server_rec, port, 260);
AT(sch_smtp_server_rec, vrf, 264);

static_assert(sizeof(sch_email_transport) == 712);
AT(sch_email_transport, from, 0);
AT(sch_email_transport, reply_to, 64);
AT(sch_email_transport, reply_to_copy, 128);
AT(sch_email_transport, smtp, 192);

// The stored part of the log file record, 532 bytes, begins at the name.
static_assert(sizeof(sch_log_file_rec) - offsetof(sch_log_file_rec, name) == 532);
AT(sch_log_file_rec, name, 8);
AT(sch_log_file_rec, size, 8 + 256);
AT(sch_log_file_rec, read_offset, 8 + 260);
AT(sch_log_file_rec, write_offset, 8 + 264);
AT(sch_log_file_rec, entry_count, 8 + 268);
AT(sch_log_file_rec, uri, 8 + 272);
AT(sch_log_file_rec, spare, 8 + 528);

static_assert(sizeof(sch_timeval) == 8);
AT(sch_timeval, seconds, 0);
AT(sch_timeval, microseconds, 4);

static_assert(sizeof(sch_security_user_rec) == 264);
AT(sch_security_user_rec, user_name, 0);
AT(sch_security_user_rec, kind, 128);
AT(sch_security_user_rec, form, 132);
AT(sch_security_user_rec, password, 136);

static_assert(sizeof(sch_show_job_reply) == 44);
AT(sch_show_job_reply, name, 0);
AT(sch_show_job_reply, job_id, 32);
AT(sch_show_job_reply, unread, 36);
AT(sch_show_job_reply, length, 40);

static_assert(sizeof(sch_show_schedule_reply) == 820);
AT(sch_show_schedule_reply, number, 0);
AT(sch_show_schedule_reply, name, 4);
AT(sch_show_schedule_reply, time, 36);
AT(sch_show_schedule_reply, unread, 72);
AT(sch_show_schedule_reply, last_completion, 80);
AT(sch_show_schedule_reply, job_count, 84);
AT(sch_show_schedule_reply, user, 88);
AT(sch_show_schedule_reply, last_execution, 128);
AT(sch_show_schedule_reply, execution_count, 132);
AT(sch_show_schedule_reply, email_count, 136);
AT(sch_show_schedule_reply, emails, 140);

static_assert(sizeof(sch_job_status_entry) == 36);
AT(sch_job_status_entry, name, 0);
AT(sch_job_status_entry, wait_status, 32);

static_assert(sizeof(sch_log_entry) == 128);
AT(sch_log_entry, count, 0);
AT(sch_log_entry, number, 4);
AT(sch_log_entry, job, 8);
AT(sch_log_entry, schedule, 40);
AT(sch_log_entry, user, 72);
AT(sch_log_entry, wait_status, 112);
AT(sch_log_entry, completion, 116);
AT(sch_log_entry, total_length, 120);
AT(sch_log_entry, piece_length, 124);

static_assert(sizeof(sch_schedule_entry) == 8 * word);
AT(sch_schedule_entry, key, 0);
AT(sch_schedule_entry, rec, word);
AT(sch_schedule_entry, service, 2 * word);

static_assert(sizeof(sch_job_entry) == 5 * word);
AT(sch_job_entry, reserved, 0);
AT(sch_job_entry, key, word);
AT(sch_job_entry, hdr, 2 * word);
AT(sch_job_entry, fragments, 3 * word);
AT(sch_job_entry, status_list, 4 * word);

static_assert(sizeof(sch_config_db) == 2 * word);
AT(sch_config_db, jobs, 0);
AT(sch_config_db, schedules, word);

// The descriptors of the system messages: the facility's number and its two bytes of levels share a word with padding.
static_assert(sizeof(sch_syslog_msg) == 4 * word);
AT(sch_syslog_msg, name, 0);
AT(sch_syslog_msg, facility, word);
AT(sch_syslog_msg, format, 2 * word);
AT(sch_syslog_msg, severity, 3 * word);
AT(sch_syslog_facility, name, 0);
AT(sch_syslog_facility, number, word);
AT(sch_syslog_facility, default_level, word + 4);
AT(sch_syslog_facility, current_level, word + 5);

// A parameter record: four words of 32 bits, the value, the sub-kind.
AT(sch_cli_param, id, 0);
AT(sch_cli_param, kind, 4);
AT(sch_cli_param, unused, 8);
AT(sch_cli_param, value, 16);
AT(sch_cli_param, sub_kind, 16 + word);

}  // namespace
