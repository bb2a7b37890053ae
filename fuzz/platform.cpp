// SPDX-License-Identifier: Apache-2.0
#include "fuzz/platform.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <unordered_set>

#include "platform/bitset.h"
#include "platform/debug.h"
#include "platform/errors.h"
#include "platform/feature.h"
#include "platform/memory.h"
#include "platform/security.h"
#include "platform/syslog.h"
#include "platform/sysmgr.h"
#include "platform/uri.h"
#include "schedcli.h"

namespace fuzz {

Platform platform;

namespace {

// A size beyond this is a lie of the input; memory is not what these targets look for.
constexpr uint32_t largest_block = 1 << 16;

std::unordered_set<void *> &blocks() {
  static std::unordered_set<void *> all;
  return all;
}

// The store's record as it lends it: a block of exactly its size, so that a sanitizer sees a read beyond.
struct Lent {
  char *bytes = nullptr;
  pss_buf buf = {};
  const pss_buf *lend(const std::string &text) {
    std::free(bytes);
    bytes = static_cast<char *>(std::malloc(text.size()));
    std::memcpy(bytes, text.data(), text.size());
    buf = {bytes, static_cast<uint32_t>(text.size())};
    return &buf;
  }
};

Lent lent_key, lent_value;

bool take_reply(void **reply, uint32_t *length) {
  if (platform.replies.empty()) return false;
  const std::string bytes = std::move(platform.replies.front());
  platform.replies.pop_front();
  *reply = std::malloc(bytes.size());
  std::memcpy(*reply, bytes.data(), bytes.size());
  *length = static_cast<uint32_t>(bytes.size());
  return true;
}

void clear_jobs(sch_job_entry *jobs) {
  for (int id = 0; id < SCH_MAX_JOBS; ++id) {
    g_list_free(jobs[id].fragments);
    g_list_free(jobs[id].status_list);
    jobs[id] = {};
  }
}

void clear_list(GList **list) {
  g_list_free(*list);
  *list = nullptr;
}

}  // namespace

void reset() {
  static const sch_email_transport email_at_load = email_transport_conf;
  static const sch_log_file_rec log_file_at_load = sch_log_file;
  email_transport_conf = email_at_load;
  sch_log_file = log_file_at_load;
  for (sch_job_entry *jobs : {sch_job_list, startup_job_list})
    clear_jobs(jobs);
  for (GList **list : {&sch_schedule_list, &startup_schedule_list, &sch_schedule_email_list})
    clear_list(list);
  for (void *block : blocks())
    std::free(block);
  blocks().clear();
  platform = {};
}

uint8_t Input::byte() {
  if (left_ == 0) return 0;
  --left_;
  return *data_++;
}

std::string Input::bytes(size_t length) {
  const size_t taken = std::min(length, left_);
  std::string text(reinterpret_cast<const char *>(data_), taken);
  data_ += taken;
  left_ -= taken;
  return text;
}

std::string Input::sized_by_two_bytes() {
  const size_t low = byte();
  const size_t high = byte();
  return bytes(low | high << 8);
}

}  // namespace fuzz

using fuzz::platform;

const char sdwrap_dbg_modname[] = "fuzz";

// Traces are formatted, for the sake of their arguments, and dropped.
int sdwrap_hist_event(uint32_t, uint32_t, const void *) {
  return 0;
}
int sdwrap_hist_event_subtype_check(uint32_t, uint32_t) {
  return 0;
}
int sdwrap_chk_int(int, int, int, int) {
  return 0;
}
int buginf(int, const char *, int, const char *, ...) {
  return 0;
}
int sdwrap_debug_dump(uint32_t, uint32_t, uint32_t, const uint32_t[2], const char *) {
  return 0;
}
void sdwrap_dbg_clean(void *) {}
int sdwrap_sys_clean(void *) {
  return 0;
}
int tarn_syslog(int, const char *, ...) {
  return 0;
}
const char *syserr2str(uint32_t) {
  return "error";
}

void *mtrack_alloc(uint32_t, uint32_t, uint32_t size) {
  if (size > fuzz::largest_block) return nullptr;
  void *block = std::malloc(size);
  fuzz::blocks().insert(block);
  return block;
}

void mtrack_free(void *memory) {
  if (memory != nullptr && fuzz::blocks().erase(memory) == 0) std::abort();
  std::free(memory);
}

uint32_t cmi_req_resp(uint32_t, uint32_t, void *, void **reply, uint32_t *length, const char *, const char *, uint32_t,
                      uint32_t, uint32_t) {
  const uint32_t before = *length;
  fuzz::take_reply(reply, length);
  if (platform.keeps_length_word) *length = before;
  return 0;
}

uint32_t cmi_send_request(uint32_t, uint32_t, const void *, uint32_t, const char *, const char *, uint32_t, uint32_t,
                          uint32_t, cmi_sent_request *) {
  return 0;
}

uint32_t mts_rr_token_get(const cmi_sent_request *) {
  return 1;
}
int mts_recv(uint32_t, mts_message *, const mts_selector *) {
  return platform.replies.empty() ? -1 : 0;
}
int cmi_parse_response(const mts_message *, void **reply, uint32_t *length) {
  return fuzz::take_reply(reply, length) ? 0 : -1;
}

const pss_buf *pss_move2location(pss_handle, uint32_t where, pss_cursor *cursor) {
  if (where == PSS_FIRST) cursor->platform[0] = 0;
  const uint32_t at = cursor->platform[0]++;
  return at < platform.records.size() ? fuzz::lent_key.lend(platform.records[at].first) : nullptr;
}

const pss_buf *pss_getvalue(pss_handle, pss_cursor *cursor) {
  return fuzz::lent_value.lend(platform.records[cursor->platform[0] - 1].second);
}

const pss_buf *pss2_fetch(pss_handle, const pss_buf *, uint32_t *error) {
  *error = 0;
  return platform.records.empty() ? nullptr : fuzz::lent_value.lend(platform.records[0].second);
}

pss_handle pss_create(const char *, uint32_t *error) {
  return *error = 0, 1;
}
pss_handle pss_open(const char *, uint32_t *error) {
  return *error = 0, 1;
}
uint32_t pss_close(pss_handle) {
  return 0;
}
uint32_t pss_destroy(const char *) {
  return 0;
}
uint32_t pss_store(pss_handle, uint32_t, const pss_buf *, const pss_buf *) {
  return 0;
}
uint32_t pss_delete(pss_handle, const pss_buf *) {
  return 0;
}
uint32_t pss_max_key(pss_handle, uint16_t) {
  return 0;
}
uint32_t pss_max_value(pss_handle, uint16_t) {
  return 0;
}
uint32_t pss_version_set(pss_handle, uint32_t, uint32_t) {
  return 0;
}
uint32_t pss_snapshot(pss_handle, uint32_t, const char *) {
  return 0;
}
uint32_t pss_free_space(pss_handle, uint32_t *bytes) {
  return *bytes = 0;
}
pss_handle pss_shrink(pss_handle store, uint32_t *status) {
  return *status = 0, store;
}

int acfg_hdl_init(acfg_hdl *) {
  return 0;
}
int acfg_elem_add(acfg_hdl *, uint32_t, uint32_t, uint32_t) {
  return 0;
}
int acfg_elem_str_add_indent(acfg_hdl *, uint32_t, const char *text, uint32_t) {
  platform.generated += std::strlen(text);
  return 0;
}
int acfg_elem_dependency_add(acfg_hdl *, uint32_t, uint32_t, uint32_t) {
  return 0;
}
int acfg_elem_group_config_str_add(acfg_hdl *, uint32_t, uint32_t, uint32_t, const char *text) {
  platform.generated += std::strlen(text);
  return 0;
}
int acfg_cfg_type_get(void *) {
  return 2;
}
const char *acfg_startup_cfg_uri_prefix_get(void *) {
  return "startup:";
}
const char *acfg_startup_debug_cfg_uri_prefix_get(void *) {
  return "startup-debug:";
}
const char *acfg_uri_complete(const char *, const char *, const char *store) {
  return store;
}
int acfg_respond(acfg_hdl *, void *, void *) {
  return 0;
}

const char *sysmgr_running_cfg_uri_get() {
  return "running:";
}
const char *sysmgr_startup_cfg_uri_get() {
  return "startup:";
}
const char *sysmgr_debug_cfg_uri_get() {
  return "debug:";
}
const char *sysmgr_uri_complete(const char *, const char *, const char *name) {
  return name;
}
int sysmgr_is_stateless_restart() {
  return 0;
}

int check_if_user_remote(uint32_t, const char *) {
  return 0;
}
int cmi_security_user_config(uint32_t, uint32_t, sch_security_user_rec *) {
  return 0;
}
int security_conf_decrypt(const char *, uint32_t, uint32_t, uint32_t, uint32_t, char **, uint32_t *) {
  return -1;
}
int aaa_scheduler_authenticate(const char *, const char *, const char *, const char *, const char *, uint32_t,
                               aaa_result *) {
  return -1;
}

uint32_t fm_cmi_set_feature_wait(uint32_t, const char *, const char *, const char *, uint32_t) {
  return 0;
}
int vsh_deregister_parse_tree(uint32_t, const char *) {
  return 0;
}
int uri_map_targetfs_path_get(const void *, char *, uint32_t) {
  return -1;
}
int snprintf_uri_len(char *, uint32_t, const void *) {
  return 0;
}

int bitset_next_bit(const uint32_t *set, int bits, int after) {
  for (int bit = after + 1; bit < bits; ++bit) {
    if ((set[bit / 32] >> (bit % 32) & 1) != 0) return bit;
  }
  return -1;
}
