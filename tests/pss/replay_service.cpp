// SPDX-License-Identifier: Apache-2.0
#include "tests/pss/replay_service.h"

#include <arpa/inet.h>

#include <cstring>

#include "platform/memory.h"
#include "schedcli_requests.h"

namespace pss_test {
namespace {

constexpr uint32_t ok = 0;
constexpr uint32_t unknown_object = 0x40bd0003;
constexpr uint32_t refused = 0x40bd0001;

// The fields of a request by their offsets in the record.
class Fields {
 public:
  explicit Fields(const std::string &record) : record_(record) {}
  uint32_t number(size_t at) const {
    uint32_t value;
    std::memcpy(&value, record_.substr(at, sizeof value).data(), sizeof value);
    return value;
  }
  std::string text(size_t at, size_t size) const { return record_.substr(at, size).c_str(); }
  std::string bytes(size_t at, size_t size) const { return record_.substr(at, size); }
  template <class Record>
  Record record(size_t at) const {
    Record value;
    std::memcpy(&value, record_.substr(at, sizeof value).data(), sizeof value);
    return value;
  }

 private:
  const std::string &record_;
};

template <class Record>
Record *make() {
  return static_cast<Record *>(sch_malloc_check(sizeof(Record), 99, 0, "test"));
}

sch_config_key *make_key(uint32_t type, const std::string &name) {
  auto *key = make<sch_config_key>();
  key->type = type;
  set_text(key->name, sizeof key->name, name);
  return key;
}

uint32_t create_job(sch_config_db &config, const Fields &request) {
  const std::string name = request.text(16, 32);
  sch_job_entry *slot = nullptr;
  if (sch_find_job(&config, name.c_str(), &slot) >= 0) return SCH_STATUS_EXISTS;
  const int free = sch_first_empty_job_list_entry_index(&config);
  if (free < 0) return refused;
  auto *hdr = make<sch_job_hdr>();
  hdr->job_id = static_cast<uint32_t>(free);
  sch_add_job_hdr(&config, make_key(SCH_CONFIG_JOB, name), hdr, &slot);
  return ok;
}

uint32_t define_job(sch_config_db &config, const Fields &request) {
  const std::string name = request.text(16, 32), text = request.bytes(56, request.number(52));
  sch_job_entry *slot = nullptr;
  if (sch_find_job(&config, name.c_str(), &slot) < 0) return unknown_object;
  g_list_foreach(slot->fragments, free_fragment, nullptr);
  g_list_free(slot->fragments);
  slot->fragments = nullptr;
  for (size_t at = 0; at < text.size(); at += SCH_FRAGMENT_SIZE) {
    const std::string piece = text.substr(at, SCH_FRAGMENT_SIZE);
    void *fragment = sch_malloc_check(static_cast<uint32_t>(piece.size()), 7, 0, "test");
    std::memcpy(fragment, piece.data(), piece.size());
    sch_add_job_data(&config, make_key(SCH_CONFIG_JOB, name), fragment, &slot);
  }
  slot->hdr->length = static_cast<uint32_t>(text.size());
  return ok;
}

uint32_t delete_job(sch_config_db &config, const Fields &request) {
  sch_job_entry *slot = nullptr;
  const int id = sch_find_job(&config, request.text(16, 32).c_str(), &slot);
  if (id < 0) return unknown_object;
  for (GList *node = *config.schedules; node != nullptr; node = node->next)
    static_cast<sch_schedule_entry *>(node->data)->rec->jobs[id / 32] &= ~(1u << (id % 32));
  sch_free_job_entry(slot);
  return ok;
}

uint32_t create_schedule(sch_config_db &config, const Fields &request) {
  const std::string name = request.text(16, 32);
  sch_schedule_entry *entry = nullptr;
  sch_find_schedule(&config, name.c_str(), &entry);
  if (entry != nullptr) return SCH_STATUS_EXISTS;
  sch_add_schedule_entry(&config, make_key(SCH_CONFIG_SCHEDULE, name), make<sch_schedule_rec>(), &entry);
  return ok;
}

void delete_email_entry(const std::string &schedule) {
  sch_schedule_email_entry *entry = nullptr;
  sch_find_schedule_email_entry(&sch_schedule_email_list, schedule.c_str(), &entry);
  sch_schedule_email_list = g_list_remove(sch_schedule_email_list, entry);
  mtrack_free(entry);
}

uint32_t delete_schedule(sch_config_db &config, const Fields &request) {
  const std::string name = request.text(16, 32);
  for (GList *node = *config.schedules; node != nullptr; node = node->next) {
    if (static_cast<sch_schedule_entry *>(node->data)->key->name != name) continue;
    sch_free_schedule_entry(&config, node);
    delete_email_entry(name);
    return ok;
  }
  return unknown_object;
}

uint32_t assign_job(sch_config_db &config, sch_schedule_rec &rec, const std::string &job, bool negate) {
  sch_job_entry *slot = nullptr;
  const int id = sch_find_job(&config, job.c_str(), &slot);
  if (id < 0) return unknown_object;
  const uint32_t bit = 1u << (id % 32);
  uint32_t &word = rec.jobs[id / 32];
  word = negate ? word & ~bit : word | bit;
  return ok;
}

uint32_t modify_schedule(sch_config_db &config, const Fields &request) {
  sch_schedule_entry *entry = nullptr;
  sch_find_schedule(&config, request.text(20, 32).c_str(), &entry);
  if (entry == nullptr) return unknown_object;
  if (request.number(16) == SCH_MODIFY_JOB)
    return assign_job(config, *entry->rec, request.text(52, 32), request.number(8) != 0);
  entry->rec->time = request.record<sch_tminfo>(88);
  return ok;
}

uint32_t resize_log(sch_config_db &, const Fields &request) {
  sch_log_file.size = static_cast<int32_t>(request.number(528));
  return ok;
}

uint32_t set_from(sch_config_db &, const Fields &request) {
  set_text(email_transport_conf.from, 64, request.text(8, 64));
  return ok;
}

uint32_t set_reply_to(sch_config_db &, const Fields &request) {
  set_text(email_transport_conf.reply_to, 64, request.text(8 + 64, 64));
  return ok;
}

uint32_t set_smtp(sch_config_db &, const Fields &request) {
  sch_smtp_server_rec &smtp = email_transport_conf.smtp;
  smtp = request.record<sch_smtp_server_rec>(8 + 192);
  smtp.port = ntohl(smtp.port);
  smtp.address_kind = ntohl(smtp.address_kind);
  return ok;
}

uint32_t schedule_email(sch_config_db &config, const Fields &request) {
  const std::string schedule = request.text(9, 32), address = request.text(41, 64);
  sch_schedule_entry *entry = nullptr;
  sch_find_schedule(&config, schedule.c_str(), &entry);
  if (entry == nullptr) return unknown_object;
  const int result = request.bytes(8, 1)[0] == SCH_EMAIL_ADD
                         ? sch_add_schedule_email_entry(&sch_schedule_email_list, schedule.c_str(), address.c_str())
                         : sch_remove_schedule_email_addr(&sch_schedule_email_list, schedule.c_str(), address.c_str());
  return result == 0 ? ok : refused;
}

struct Operation {
  uint32_t opcode;
  uint32_t (*apply)(sch_config_db &, const Fields &);
};

constexpr Operation operations[] = {
    {SCH_OP_CREATE_JOB, create_job},
    {SCH_OP_DEFINE_JOB, define_job},
    {SCH_OP_DELETE_JOB, delete_job},
    {SCH_OP_CREATE_SCHEDULE, create_schedule},
    {SCH_OP_MODIFY_SCHEDULE, modify_schedule},
    {SCH_OP_DELETE_SCHEDULE, delete_schedule},
    {SCH_OP_RESIZE_LOG, resize_log},
    {SCH_OP_SET_EMAIL_FROM, set_from},
    {SCH_OP_CLEAR_EMAIL_FROM, set_from},
    {SCH_OP_SET_EMAIL_REPLYTO, set_reply_to},
    {SCH_OP_CLEAR_EMAIL_REPLYTO, set_reply_to},
    {SCH_OP_SET_EMAIL_SMTP, set_smtp},
    {SCH_OP_CLEAR_EMAIL_SMTP, set_smtp},
    {SCH_OP_SCHEDULE_EMAIL, schedule_email},
};

}  // namespace

platform_test::Reply ReplayService::apply(const platform_test::Request &request) {
  const Fields fields(request.bytes);
  for (const Operation &operation : operations)
    if (operation.opcode == fields.number(0)) return {operation.apply(config_, fields), "", true};
  return {refused, "", true};
}

}  // namespace pss_test
