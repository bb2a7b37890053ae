// SPDX-License-Identifier: Apache-2.0
#include "service/request/email.h"

#include <arpa/inet.h>

#include <algorithm>
#include <cstring>

#include "control/statuses.h"
#include "host/status.h"
#include "service/request/answer.h"
#include "service/request/ownership.h"
#include "service/state/address_table.h"

namespace service {
namespace {

constexpr sch_smtp_server_rec no_server = SCH_SMTP_SERVER_INITIALIZER;

using Save = int (*)(pss_handle, const sch_email_transport *);

uint32_t store_transport(const sch_email_transport &conf, Save save) {
  ConfigChange change;
  change.undo([before = email_transport_conf] { email_transport_conf = before; });
  email_transport_conf = conf;
  change.require(save(pss_running, &email_transport_conf));
  return change.commit();
}

uint32_t store_from(const char (&from)[64]) {
  sch_email_transport conf = email_transport_conf;
  std::memcpy(conf.from, from, sizeof conf.from);
  return store_transport(conf, sch_save_email_from_conf_to_pss);
}

uint32_t store_replyto(const char (&reply_to)[64]) {
  sch_email_transport conf = email_transport_conf;
  std::memcpy(conf.reply_to, reply_to, sizeof conf.reply_to);
  std::memcpy(conf.reply_to_copy, reply_to, sizeof conf.reply_to_copy);
  return store_transport(conf, sch_save_email_replyto_conf_to_pss);
}

uint32_t store_smtp(const sch_smtp_server_rec &smtp) {
  sch_email_transport conf = email_transport_conf;
  conf.smtp = smtp;
  return store_transport(conf, sch_save_email_smtpserver_conf_to_pss);
}

sch_email_slot *find_slot(sch_schedule_email_entry *entry, const std::string &address) {
  if (entry == nullptr) return nullptr;
  sch_email_slot *slot = std::find_if(std::begin(entry->slots), std::end(entry->slots), [&](const auto &candidate) {
    return candidate.in_use != 0 && address == candidate.address;
  });
  return slot == std::end(entry->slots) ? nullptr : slot;
}

uint32_t add_address(const AddressRequest &request) {
  sch_schedule_email_entry *known = find_addresses(request.schedule);
  if (find_slot(known, request.address) != nullptr) return SCH_STATUS_EXISTS;
  if (known != nullptr && known->count >= SCH_MAX_EMAIL_IDS) return control::err_too_many_addresses;
  ConfigChange change;
  sch_schedule_email_entry *entry = known;
  if (known == nullptr) {
    entry = add_addresses(request.schedule, request.address);
    if (entry == nullptr) return host::err_no_memory;
    change.undo([entry] { remove_addresses(*entry); });
  } else {
    change.undo([known, before = *known] { *known = before; });
    if (!append_address(*known, request.address)) return control::err_too_many_addresses;
  }
  change.require(sch_save_schedule_email_entry_to_pss(pss_running, entry));
  return change.commit();
}

// Not by the library's function, which removes too much: it matches prefixes of names and addresses, and removes a
// schedule's last address whatever it is.
uint32_t remove_address(const AddressRequest &request) {
  sch_schedule_email_entry *entry = find_addresses(request.schedule);
  sch_email_slot *slot = find_slot(entry, request.address);
  if (slot == nullptr) return control::err_no_such_address;
  ConfigChange change;
  if (entry->count <= 1) {
    delete_addresses(change, request.schedule);
    return change.commit();
  }
  change.undo([entry, before = *entry] { *entry = before; });
  *slot = {};
  entry->count--;
  change.require(sch_save_schedule_email_entry_to_pss(pss_running, entry));
  return change.commit();
}

}  // namespace

uint32_t set_email_from(const Call &, const TransportRequest &request) {
  return store_from(request.conf.from);
}
uint32_t clear_email_from(const Call &) {
  return store_from({});
}
uint32_t set_email_replyto(const Call &, const TransportRequest &request) {
  return store_replyto(request.conf.reply_to);
}
uint32_t clear_email_replyto(const Call &) {
  return store_replyto({});
}
uint32_t clear_email_smtp(const Call &) {
  return store_smtp(no_server);
}

uint32_t set_email_smtp(const Call &, const TransportRequest &request) {
  sch_smtp_server_rec smtp = request.conf.smtp;
  if (smtp.vrf[0] == 0) std::memcpy(smtp.vrf, no_server.vrf, sizeof smtp.vrf);
  return store_smtp(smtp);
}

uint32_t modify_address(const Call &call, const AddressRequest &request) {
  sch_schedule_entry *schedule = nullptr;
  if (const uint32_t status = find_own_schedule(call, request.schedule, &schedule); status != 0) return status;
  return request.add ? add_address(request) : remove_address(request);
}

host::Answer show_email_config(const Call &) {
  sch_email_transport conf = email_transport_conf;
  conf.smtp.address_kind = htonl(conf.smtp.address_kind);
  conf.smtp.port = htonl(conf.smtp.port);
  host::Bytes reply;
  append_record(&reply, conf);
  return with_reply(std::move(reply));
}

void delete_addresses(ConfigChange &change, const std::string &schedule) {
  sch_schedule_email_entry *entry = find_addresses(schedule);
  if (entry == nullptr) return;
  sch_delete_schedule_email_entry_from_pss(pss_running, entry);
  change.afterwards([entry] { remove_addresses(*entry); });
}

}  // namespace service
