// SPDX-License-Identifier: Apache-2.0
// Every record of a store back into a configuration and the settings beside it.
#include "db/append.h"
#include "db/job_names.h"
#include "diag/trace.h"
#include "pss/fields.h"
#include "pss/fragment_order.h"
#include "pss/log_file.h"
#include "pss/walk.h"
#include "pss/walked_key.h"

namespace {

// A field of the e-mail settings that is full to its last byte is traced together with the fields behind it, up to the
// end of the record: on purpose.
class RunOnText {
 public:
  explicit RunOnText(const char *field) {
    const auto *record = reinterpret_cast<const char *>(&email_transport_conf);
    const auto offset = static_cast<size_t>(field - record);
    std::memcpy(text_, record + offset, sizeof email_transport_conf - offset);
  }
  const char *c_str() const { return text_; }

 private:
  char text_[sizeof(sch_email_transport) + 1] = {};
};

void restore_log_file(const pss_buf &value) {
  SCH_TRACE_SERVICE(trace_config, "got log file entry");
  copy_at_most(reinterpret_cast<char *>(&sch_log_file) + log_file_stored_offset, log_file_stored_size, value);
  SCH_TRACE_SERVICE(trace_config, "rd offset %d count %d", sch_log_file.read_offset, sch_log_file.entry_count);
}

void restore_enable_flag(const pss_buf &value) {
  copy_at_most(&scheduler_enabled, sizeof scheduler_enabled, value);
  if (scheduler_enabled != 0) {
    SCH_TRACE_SERVICE(trace_config, "service ENABLED");
  } else {
    SCH_TRACE_SERVICE(trace_config, "service DISABLED");
  }
}

void restore_email_from(const pss_buf &value) {
  SCH_TRACE_SERVICE(trace_config, "got Global Email from conf entry");
  sch_email_transport &conf = email_transport_conf;
  std::memset(conf.from, 0, sizeof conf.from);
  copy_at_most(conf.from, sizeof conf.from, value);
  SCH_TRACE_SERVICE(trace_config, "Configured Global email conf values :From :%s\n", RunOnText(conf.from).c_str());
}

void restore_email_reply_to(const pss_buf &value) {
  SCH_TRACE_SERVICE(trace_config, "Got Global Email replyto conf entry\n");
  sch_email_transport &conf = email_transport_conf;
  std::memset(conf.reply_to, 0, sizeof conf.reply_to);
  copy_at_most(conf.reply_to, sizeof conf.reply_to, value);
  store_text(conf.reply_to_copy, conf.reply_to);
  SCH_TRACE_SERVICE(trace_config, "Configured Global email conf values :reply-to :%s\n",
                    RunOnText(conf.reply_to).c_str());
}

// The record is taken whole, whatever the value's length: what a short value lacks is zero, never what lies behind it.
void restore_email_smtp(const pss_buf &value) {
  SCH_TRACE_SERVICE(trace_config, "got smtp server conf entry");
  sch_smtp_server_rec &smtp = email_transport_conf.smtp;
  smtp = {};
  copy_at_most(&smtp, sizeof smtp, value);
  SCH_TRACE_SERVICE(trace_config, "Configured Global email conf values :smtp server: %s, port:%d, vrf:%s",
                    RunOnText(smtp.server).c_str(), smtp.port, RunOnText(smtp.vrf).c_str());
}

// There is one list of e-mail entries, whichever configuration is being restored.
void restore_schedule_email(const pss_buf &value) {
  SCH_TRACE_SERVICE(trace_config, "got schedule email conf entry");
  sch_schedule_email_entry entry = {};
  copy_at_most(&entry, sizeof entry, value);
  SCH_TRACE_SERVICE(trace_config, "Configured schedule email conf for %s is %d\n", FieldText(entry.schedule_name).text,
                    entry.count);
  sch_add_schedule_email_entry_from_pss(&sch_schedule_email_list, &entry);
}

struct Setting {
  uint32_t type;
  void (*restore)(const pss_buf &value);
};

constexpr Setting settings[] = {
    {SCH_CONFIG_LOG_FILE, restore_log_file},     {SCH_CONFIG_ENABLE, restore_enable_flag},
    {SCH_CONFIG_EMAIL_FROM, restore_email_from}, {SCH_CONFIG_EMAIL_REPLYTO, restore_email_reply_to},
    {SCH_CONFIG_EMAIL_SMTP, restore_email_smtp}, {SCH_CONFIG_SCHEDULE_EMAIL, restore_schedule_email},
};

bool restore_setting(uint32_t type, const pss_buf &value) {
  for (const Setting &setting : settings) {
    if (setting.type != type) continue;
    setting.restore(value);
    return true;
  }
  return false;
}

void restore_record(sch_config_db *config, WalkedKey walked, StoreWalk &walk, FragmentOrder &order) {
  const sch_config_key &key = walked.in_host_order();
  const pss_buf *value = walk.value();
  if (value == nullptr) {
    SCH_TRACE_SERVICE(trace_config, "could not retrieve value for %s", FieldText(key.name).text);
    return;
  }
  SCH_TRACE_SERVICE(trace_config, "got key type %d", key.type);
  if (restore_setting(key.type, *value)) return;
  walked.enter(config, value);
  order.entered(config, key);
}

void restore_from_first(sch_config_db *config, const pss_buf *key, StoreWalk &walk, FragmentOrder &order) {
  const append_session whole_walk;
  const job_name_session whole_table(config);
  for (; key != nullptr; key = walk.next())
    restore_record(config, WalkedKey(*key), walk, order);
}

}  // namespace

int sch_restore_config_from_pss(sch_config_db *config, pss_handle store) {
  StoreWalk walk(store);
  const pss_buf *key = walk.first();
  if (walk.failed()) {
    SCH_TRACE_SERVICE(trace_config, "could not move to first key");
    return 0;
  }
  FragmentOrder order;
  restore_from_first(config, key, walk, order);
  if (order.is_broken()) reorder_fragments(config, store);
  return 0;
}
