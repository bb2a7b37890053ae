// SPDX-License-Identifier: Apache-2.0
#include "service/state/full_text.h"

#include "host/acfg.h"
#include "host/security/passwords.h"
#include "host/security/security.h"
#include "host/text_field.h"
#include "service/state/schedule_state.h"
#include "service/state/tables.h"

namespace service {
namespace {

constexpr char feature_line[] = "feature scheduler\n", end_of_job[] = "end-job\n\n";
constexpr std::string_view job_start = "scheduler job name ", schedule_start = "scheduler schedule name ",
                           smtp_start = "scheduler transport email smtp-server ";

// As the library declares its element for jobs and schedules.
constexpr uint32_t owner_of_text = 224, scheduler_element = 1, scheduler_priority = 12;

std::string log_file_line() {
  const std::string uri(host::text_in(sch_log_file.uri));
  return uri.empty() || uri == SCH_LOG_URI_DEFAULT ? "" : "scheduler logfile name " + uri + "\n";
}

std::string password_line(const std::string &user, const std::string &sealed) {
  return "scheduler aaa-authentication username " + user + " password 7 " + sealed + "\n";
}

std::string all_password_lines() {
  const host::Result<host::SealedPasswords> passwords = host::read_passwords();
  std::string lines;
  if (!passwords) return lines;  // the host has told the administrator
  for (const auto &[user, sealed] : *passwords)
    lines += password_line(user, sealed);
  return lines;
}

std::string own_password_line(const std::string &user) {
  const host::Result<sch_security_user_rec> record = host::security_read(user);
  return record ? password_line(user, std::string(host::text_in(record->password))) : "";
}

void add_routing_instance(std::string *line) {
  const std::string vrf(host::text_in(email_transport_conf.smtp.vrf));
  if (!vrf.empty() && vrf != SCH_SMTP_VRF_DEFAULT) line->insert(line->size() - 1, " vrf " + vrf);
}

// The schedules come in the order of the list, so that none has to be looked for.
class Amender {
 public:
  Amender(GList *const &schedules, std::string lines_of_settings)
      : schedules_(schedules), lines_of_settings_(std::move(lines_of_settings)) {}

  void amend(std::string *piece) {
    if (in_job_) {
      in_job_ = *piece != end_of_job;
    } else if (piece->starts_with(job_start)) {
      in_job_ = true;
    } else if (piece->starts_with(schedule_start)) {
      node_ = node_ == nullptr ? schedules_ : node_->next;
      add_flag(*static_cast<const sch_schedule_entry *>(node_->data), piece);
    } else if (piece->starts_with(smtp_start)) {
      add_routing_instance(piece);
    } else if (*piece == feature_line) {
      *piece += log_file_line() + lines_of_settings_;
    }
  }

  // First in the block, so that a schedule that is made from it is never due.
  static void add_flag(const sch_schedule_entry &entry, std::string *piece) {
    if (!is_enabled(*entry.rec)) *piece += "  disable\n";
  }

 private:
  GList *const &schedules_;  // filled when the text is written
  const std::string lines_of_settings_;
  const GList *node_ = nullptr;
  bool in_job_ = false;
};

// Last: nothing can be configured while it is disabled.
std::string feature_state() {
  return scheduler_enabled != 0 ? "" : "no feature scheduler\n";
}

host::TextAmendment amendment(Amender &amender) {
  return {[&amender](std::string *piece) { amender.amend(piece); }, feature_state};
}

}  // namespace

std::string running_text() {
  Amender amender(sch_schedule_list, all_password_lines());
  return host::configuration_text(host::ConfigType::running, amendment(amender));
}

std::string startup_text() {
  Amender amender(startup_schedule_list, "");
  return host::configuration_text(host::ConfigType::startup, amendment(amender));
}

std::string stored_running_text() {
  Amender amender(startup_schedule_list, "");
  return host::stored_running_text(amendment(amender));
}

std::string text_of_user(const std::string &user, uint32_t owner_tag) {
  const auto write = [&](acfg_hdl *handle) {
    acfg_elem_add(handle, owner_of_text, scheduler_element, scheduler_priority);
    for_each_job([&](sch_job_entry &slot, uint32_t) {
      if (slot.hdr != nullptr && owner_of(slot) == owner_tag) sch_add_job_cfg(&sch_running_config, handle, &slot);
    });
    for (sch_schedule_entry *entry = schedule_after(-1, owner_tag); entry != nullptr;
         entry = schedule_after(schedule_number(*entry->rec), owner_tag))
      sch_add_schedule_cfg(&sch_running_config, handle, entry);
  };
  bool in_job = false;
  const auto amend = [&](std::string *piece) {
    if (in_job) {
      in_job = *piece != end_of_job;
    } else if (piece->starts_with(job_start)) {
      in_job = true;
    } else if (piece->starts_with(schedule_start)) {
      const std::string name = piece->substr(schedule_start.size(), piece->size() - schedule_start.size() - 1);
      Amender::add_flag(*find_schedule(name), piece);
    }
  };
  return own_password_line(user) + host::written_text(write, {amend, {}});
}

}  // namespace service
