// SPDX-License-Identifier: Apache-2.0
// The scriptable platform of the unit tests: every interface of platform/, in memory, recording each call and failing
// on demand. One instance per process, `fake`; `fake.reset()` first in every test (class PlatformTest does it).
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <ctime>
#include <deque>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "schedcli.h"

namespace platform_test {

// Fails the nth call of its kind (1-based; 0: none), that one alone or every one from then on.
struct Fault {
  int nth = 0;
  bool from_then_on = false;
  int calls = 0;
  bool fails();  // counts the call, says whether it is to fail
};

struct Store {  // keys ascend by their bytes, as a real store's do
  std::map<std::string, std::string> records;
  uint16_t max_key = 0, max_value = 0;
  uint32_t major = 0, minor = 0;
};

struct Request {  // one cmi_req_resp or cmi_send_request
  uint32_t service, message_class;
  std::string bytes;
  std::string user_name, peer_name;
  uint32_t constant_136, shell_handle, zero, destination;
  bool reply_was_null;  // the caller cleared its reply pointer
};

struct Reply {
  uint32_t status = 0;
  std::string bytes;  // empty: a null reply
  bool null = true;   // set false to hand out an (also empty) buffer
  static Reply with(std::string payload, uint32_t status = 0) { return {status, std::move(payload), false}; }
};

struct HistoryEvent {
  uint32_t module, length, subtype;
  std::string text;
};

struct AcfgLine {
  uint32_t element;
  std::string text;
  uint32_t indent;
  bool in_line_buffer = false;  // it was built in cfg_line
  bool alone_in_buffer = true;  // with nothing behind its end there
};

struct Platform {
  void reset();

  // Every platform call in order, its name and arguments, e.g. "pss_open running:x", "pss_store 1 key=<hex>
  // value=<hex>", "mtrack_alloc 224 5 40", "mtrack_free 5", "cmi_req_resp 5950 3". The calls of the trace are noted on
  // demand only.
  std::vector<std::string> calls;
  bool record_calls = true;
  bool record_traces = false;
  std::vector<std::string> calls_with(const std::string &prefix) const;  // those that begin so, in order

  // Memory: live blocks by type; mtrack_free of null is harmless and is recorded.
  std::map<uint32_t, int> live;  // blocks by memory type
  int live_blocks() const;
  Fault alloc;                          // mtrack_alloc
  void *next_block = nullptr;           // mtrack_alloc hands this out once, as made by operator new
  uint32_t largest_block = UINT32_MAX;  // mtrack_alloc gives none beyond
  Fault libc_alloc;                     // malloc and realloc of the library

  // Stores by URI. Handles count from 1. store_error: result of every failing call that has no code of its own.
  std::map<std::string, Store> stores;
  std::map<pss_handle, std::string> open_stores;  // handle -> URI
  pss_handle last_handle = 0;
  Fault store;  // every pss_ call counts as one
  uint32_t store_error = 0x40480009;
  std::map<std::string, uint32_t> errors;  // by call name, e.g. errors["pss_max_key"] = 5: that call fails so always
  std::set<std::string> unreadable_keys;   // pss_getvalue of these keys reports store_error
  std::vector<std::pair<std::string, std::string>> walk;  // when not empty, what walks give instead, in this order
  bool cursor_errors_stick = false;                       // a call that succeeds leaves the cursor's error as it was
  std::string error_on_open_of;                           // pss_open of this URI gives its handle beside store_error
  uint32_t fetch_error_beside_value = 0;                  // of pss2_fetch
  bool fetch_gives_nothing = false;                       // pss2_fetch gives null and no error
  uint32_t free_space = 0;
  std::set<uint32_t> shrink_fails;  // handles

  // Transport. A scripted reply is taken from the front; without one, `serve` answers; without that, status 0, no
  // reply.
  std::vector<Request> requests;
  std::deque<Reply> replies;
  std::function<Reply(const Request &)> serve;
  Fault transport;  // cmi_req_resp, cmi_send_request, mts_recv, cmi_parse_response
  uint32_t transport_error = 0x40be0001;
  bool failing_transport_replies = false;  // a failing cmi_req_resp hands out a reply nevertheless
  bool keeps_length_word = false;          // cmi_req_resp leaves the length word as it was
  bool parses_to_null = false;             // cmi_parse_response succeeds without a reply
  std::deque<std::string> messages;        // what mts_recv hands out; cmi_parse_response copies it
  std::vector<mts_selector> selectors;
  uint32_t token = 77;

  // Debug.
  bool history_allowed = true;
  bool buginf_allowed = true;
  int history_result = 0, buginf_result = 0;
  std::vector<HistoryEvent> history;
  std::vector<std::string> buginf;  // formatted; the raw formats are in buginf_formats
  std::vector<std::string> buginf_formats;
  std::vector<std::string> traces() const;  // the texts of history
  std::vector<std::string> traces(uint32_t level) const;

  // System log: priority and formatted text.
  std::vector<std::pair<int, std::string>> syslog;  // tarn_syslog
  std::vector<std::string> syslog_formats;

  // acfg.
  std::vector<AcfgLine> acfg_lines;               // in the order of the calls
  std::string acfg_text(uint32_t element) const;  // concatenated, no indentation applied
  int cfg_type = 1;
  const char *startup_prefix = "startup:";
  const char *startup_debug_prefix = "startup-debug:";
  std::set<std::string> acfg_uncompletable;  // store names for which acfg_uri_complete answers null
  int respond_result = 0;
  std::set<const acfg_hdl *> acfg_handles;   // all that the calls were given
  std::vector<const void *> acfg_requests;   // of acfg_cfg_type_get and the prefix calls
  std::vector<const void *> acfg_responded;  // message and request
  std::vector<int> bits;                     // answers of bitset_next_bit, then -1; none: what the set holds
  std::vector<int> bits_after;               // its last arguments

  // System manager. A completed URI is base + name.
  const char *running_base = "running:";
  const char *startup_base = "startup:";
  const char *debug_base = "debug:";
  bool stateless = false;
  std::set<std::string> uncompletable;  // store names for which sysmgr_uri_complete answers null

  // Security.
  std::set<std::string> remote_users;
  Fault user_check;                                        // a failing check_if_user_remote answers remote
  std::map<std::string, sch_security_user_rec> passwords;  // by user; answer of operation 1
  int security_result = 0;                                 // result of operations 3 and 4
  std::vector<sch_security_user_rec> security_records;     // as given, before the answer
  int decrypt_result = 0;
  bool decrypt_gives_text = true;
  uint32_t decrypt_length_without_text = 0;
  std::string clear_text = "secret";
  int aaa_result_code = 0;
  uint32_t aaa_words[2] = {0, 1};

  // Feature manager, URIs.
  uint32_t feature_result = 0;
  std::string uri_path = "/bootflash/log.dat", uri_text = "bootflash:log.dat";

  // libc, as the library under test sees it (with test_libc; the real calls serve while scripted_libc is false).
  bool scripted_libc = false;
  time_t now = 0;  // 0: the real clock
  int gethostname_result = 0;
  std::string host_name = "switch";
  std::set<std::string> existing_files;  // stat succeeds for these and fails for every other path
  bool assert_log_opens = true;
  long assert_log_size = 0;                              // < 0: fstat fails
  std::vector<std::string> assert_writes;                // each write of the assertion log
  int assert_backtrace = -1;                             // addresses symbolised into it
  std::vector<std::pair<int, std::string>> libc_syslog;  // syslog(3)
};

extern Platform fake;

class PlatformTest : public ::testing::Test {
 protected:
  void SetUp() override;  // fake.reset(), library globals back to their load-time values, TZ=UTC
  void TearDown() override;
};

// What `body` wrote to standard output and standard error.
struct Output {
  std::string out, err;
};
Output capture(const std::function<void()> &body);

void set_zone(const char *tz);  // TZ and tzset
// A moment of a leap day, and what the clocks show then. The day is the same in all zones.
inline constexpr int32_t leap_day = 1709210096;  // 2024-02-29 12:34:56 UTC
inline constexpr std::pair<const char *, const char *> leap_day_clocks[] = {
    {"UTC", "12:34"}, {"Europe/Berlin", "13:34"}, {"Australia/Sydney", "23:34"}, {"Asia/Kolkata", "18:04"}};
std::string error_text(uint32_t error);            // what syserr2str answers: "platform error 0x40bd0002"
std::string hex(const void *data, size_t length);  // "0a0b"
std::string unhex(const std::string &text);        // blanks are skipped
void reset_library();                              // frees both configurations and e-mail lists, restores the globals

// Contexts for the handlers; `params` are string parameters in order.
class Context {
 public:
  explicit Context(const std::vector<std::string> &params = {});
  Context(const Context &) = delete;
  Context &operator=(const Context &) = delete;
  Context &string_param(const std::string &value, uint32_t id = 0, uint32_t sub_kind = 0);
  Context &integer_param(uint32_t value, uint32_t id = 0);
  Context &uri_param(const void *uri);
  Context &raw_param(uint32_t id, uint32_t kind, const void *value);
  sch_cli_cmd_ctx *operator->() { return &ctx_; }
  const sch_cli_cmd_ctx *get();  // user "admin", peer "console", shell handle 42 unless set

 private:
  Context &add(uint32_t id, uint32_t kind, const void *value, uint32_t sub_kind);

  std::deque<std::string> strings_;
  std::deque<uint32_t> integers_;
  std::deque<sch_cli_param> params_;
  std::vector<sch_cli_param *> pointers_;
  sch_cli_cmd_ctx ctx_{};
};

}  // namespace platform_test
