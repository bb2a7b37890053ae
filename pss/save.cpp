// SPDX-License-Identifier: Apache-2.0
// Stores one record, and traces how that went by the rule of its kind.
#include "pss/save.h"

#include "diag/trace.h"
#include "pss/fields.h"
#include "pss/log_file.h"

namespace {

constexpr SaveRule email_from = {"saving Email FROM conf FAILED", "saving Email FROM conf success", false};
constexpr SaveRule email_reply_to = {"saving Email Reply-to conf FAILED", "saving Email reply-to conf success", false};
constexpr SaveRule email_smtp = {"saving Email smtpserver conf FAILED", "saving Email smtpserver conf success", false};
constexpr SaveRule log_file_info = {"saving log file info FAILED", "saving log file info success", false};
constexpr SaveRule enable_flag = {"saving ENABLE flag FAILED", "saving ENABLE flag success", false};
constexpr SaveRule schedule_email = {"PSS error 0x%x while saving the schedule email entry %s", nullptr, true};
constexpr SaveRule schedule_entry = {"PSS error 0x%x while saving the schedule entry %s", nullptr, true};

uint32_t store_record(pss_handle store, sch_config_key key, const void *value, uint32_t length) {
  sch_hton_config_key(&key);
  const pss_buf key_buf = {&key, sizeof key};
  const pss_buf value_buf = {const_cast<void *>(value), length};
  return pss_store(store, 1, &key_buf, &value_buf);
}

sch_config_key key_of_type(uint32_t type) {
  return {.type = type, .fragment = 0, .name = ""};
}

sch_config_key email_key(const sch_schedule_email_entry &entry) {
  sch_config_key key = key_of_type(SCH_CONFIG_SCHEDULE_EMAIL);
  std::memcpy(key.name, entry.schedule_name, sizeof key.name);
  return key;
}

}  // namespace

void delete_record(pss_handle store, sch_config_key key) {
  sch_hton_config_key(&key);
  const pss_buf key_buf = {&key, sizeof key};
  pss_delete(store, &key_buf);
}

int save_record(pss_handle store, const SaveRule &rule, const sch_config_key &key, const void *value, uint32_t length) {
  const uint32_t error = store_record(store, key, value, length);
  const char *text = error == 0 ? rule.success : rule.failure;
  if (text != nullptr) SCH_TRACE_SERVICE(trace_config, text, error, FieldText(key.name).text, key.fragment);
  if (error != 0 && rule.logs_error) sch_syserr_log(trace_config, error);
  return error == 0 ? 0 : -1;
}

int sch_save_email_from_conf_to_pss(pss_handle store, const sch_email_transport *conf) {
  return save_record(store, email_from, key_of_type(SCH_CONFIG_EMAIL_FROM), conf->from, sizeof conf->from);
}

int sch_save_email_replyto_conf_to_pss(pss_handle store, const sch_email_transport *conf) {
  return save_record(store, email_reply_to, key_of_type(SCH_CONFIG_EMAIL_REPLYTO), conf->reply_to,
                     sizeof conf->reply_to);
}

int sch_save_email_smtpserver_conf_to_pss(pss_handle store, const sch_email_transport *conf) {
  return save_record(store, email_smtp, key_of_type(SCH_CONFIG_EMAIL_SMTP), &conf->smtp, sizeof conf->smtp);
}

int sch_save_schedule_email_entry_to_pss(pss_handle store, const sch_schedule_email_entry *entry) {
  if (entry == nullptr) return 0;
  return save_record(store, schedule_email, email_key(*entry), entry, sizeof *entry);
}

int sch_save_schedule_entry_to_pss(pss_handle store, const sch_schedule_entry *entry) {
  return save_record(store, schedule_entry, *entry->key, entry->rec, sizeof *entry->rec);
}

int sch_save_log_file_entry_to_pss(pss_handle store, const sch_config_key *key, const sch_log_file_rec *log_file) {
  const auto *stored = reinterpret_cast<const char *>(log_file) + log_file_stored_offset;
  return save_record(store, log_file_info, *key, stored, log_file_stored_size);
}

int sch_save_condition_entry_to_pss(pss_handle store, const sch_config_key *key, int32_t flag) {
  return save_record(store, enable_flag, *key, &flag, sizeof flag);
}

int sch_delete_schedule_email_entry_from_pss(pss_handle store, const sch_schedule_email_entry *entry) {
  delete_record(store, email_key(*entry));
  return 0;
}

int sch_delete_schedule_entry_from_pss(pss_handle store, const sch_schedule_entry *entry) {
  delete_record(store, *entry->key);
  return 0;
}
