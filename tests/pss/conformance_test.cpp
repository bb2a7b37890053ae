// SPDX-License-Identifier: Apache-2.0
// What is stored, byte by byte, and the calls, traces and system messages of each operation in their order.
#include "tests/platform/journal.h"
#include "tests/pss/records.h"

using namespace pss_test;
using platform_test::Conformance;

namespace {

constexpr uint32_t broken = 0x40480009;
const std::string full_name = "abcdefghijklmnopqrstuvwxyz012345";

class PssConformance : public platform_test::PlatformTest {};

std::function<int()> failing(const char *call, std::function<int()> body) {
  return [=] {
    fake.errors[call] = broken;
    return body();
  };
}

// Stored, then refused: the two results.
std::function<int()> twice(const std::function<int(pss_handle)> &save) {
  return [=] {
    const pss_handle store = open_store();
    EXPECT_EQ(save(store), 0);
    fake.errors["pss_store"] = broken;
    return save(store);
  };
}

int create() {
  return sch_pss_create("some:store", 1024, 1024, 40);
}

int start() {
  sch_pss_uri_init();
  fake.calls.clear();
  return sch_pss_init();
}

int start_stateless() {
  fake.stateless = true;
  return start();
}

int standby() {
  sch_pss_uri_init();
  fake.calls.clear();
  return sch_standby_pss_init();
}

int snapshot() {
  put("from", key_hex(2, 0, ""), "01000000");
  return sch_pss_snapshot("from", "to");
}

int shrink(uint32_t free) {
  uint32_t status = 0;
  fake.free_space = free;
  sch_verify_pss_shrink(open_store("run"), "run", 500, &status);
  return static_cast<int>(status);
}

int shrink_all() {
  open_all_stores();
  fake.free_space = 501;
  return sch_pss_shrink(500);
}

int save_transport(pss_handle store, int (*save)(pss_handle, const sch_email_transport *)) {
  sch_email_transport conf{};
  set_text(conf.from, sizeof conf.from, "switch@example.net");
  set_text(conf.reply_to, sizeof conf.reply_to, "noc@example.net");
  set_text(conf.reply_to_copy, sizeof conf.reply_to_copy, "not stored");
  set_text(conf.smtp.server, sizeof conf.smtp.server, "mail.example.net");
  conf.smtp.address_kind = 16;
  conf.smtp.port = 0x0102;
  set_text(conf.smtp.vrf, sizeof conf.smtp.vrf, "blue");
  return save(store, &conf);
}

int save_log_file(pss_handle store) {
  const sch_config_key key{SCH_CONFIG_LOG_FILE, 0x0a0b0c0d, "log"};
  sch_log_file_rec log{};
  log.head[0] = log.head[1] = 0xdddddddd;
  set_text(log.name, sizeof log.name, "log.dat");
  log.size = 0x01020304;
  log.read_offset = 0x11121314;
  log.write_offset = 0x21222324;
  log.entry_count = 0x31323334;
  set_text(log.uri, sizeof log.uri, "flash:log.dat");
  log.spare = 0x41424344;
  return sch_save_log_file_entry_to_pss(store, &key, &log);
}

int save_schedule(pss_handle store) {
  sch_schedule_rec rec{};
  rec.service_head[0] = 0xa1a2a3a4;
  rec.jobs[0] = 0x80000001;
  rec.jobs[7] = 0x01000000;
  rec.service_word = 0xb1b2b3b4;
  rec.time = {SCH_SCHEDULE_WEEKLY, 13, 2, 4, 59, 11, 126, -1, 0x01020304};
  rec.time_spare = 0xc1c2c3c4;
  rec.service_tail[0] = 0xd1;
  rec.service_tail[59] = 0xd2;
  sch_config_key key{SCH_CONFIG_SCHEDULE, 5, {}};
  set_text(key.name, sizeof key.name, full_name);
  sch_schedule_entry schedule{&key, &rec, {1, 2, 3, 4, 5, 6}};
  const int result = sch_save_schedule_entry_to_pss(store, &schedule);
  EXPECT_EQ(key.fragment, 5u) << "keys in memory are not converted";
  return result;
}

int save_addresses(pss_handle store) {
  const sch_schedule_email_entry entry = email_entry(full_name, {"a@x.net", "b@x.net"});
  return sch_save_schedule_email_entry_to_pss(store, &entry);
}

int save_status(pss_handle store) {
  sch_runtime_job_status status{};
  set_text(status.schedule_name, sizeof status.schedule_name, full_name);
  status.job_id = 0x0102;
  status.words[0] = 0x11121314;
  status.words[1] = 0x21222324;
  return sch_save_runtime_job_status_entry_to_pss(store, &status);
}

// Two jobs and two schedules, in the order that the lists have; statuses, addresses.
void configure() {
  add_schedule(sch_running_config, "zulu", {});
  add_schedule(sch_running_config, full_name, {});
  add_job(sch_running_config, 255, full_name, "z\n");
  sch_job_entry *first = add_job(sch_running_config, 0, "first", job_text(1030));
  first->key->fragment = 77;  // a left-over of an earlier save
  add_job(sch_running_config, 7, "empty", "");
  add_status(*first, 0, "zulu", 1, 2);
  add_status(*first, 0, "alpha", 3, 4);
  fake.calls.clear();
}

int on_a_store(const std::function<int(pss_handle)> &body) {
  const pss_handle store = open_store();
  configure();
  return body(store);
}

// A record of each kind.
int restore() {
  const pss_handle store = open_store();
  put("test", key_hex(0, 0, "nightly"), zeros(144));
  put("test", key_hex(1, 0, "job"), "030000000000000002000000");
  put("test", key_hex(1, 1, "job"), "780a");
  put("test", key_hex(2, 0, ""), "01000000");
  put("test", key_hex(3, 0, ""), padded("n", 256) + "010203040506070809000000" + "0d000000");
  put("test", key_hex(4, 0, "of no kind"), "00");
  put("test", key_hex(5, 0, ""), padded("a@x.net", 64));
  put("test", key_hex(6, 0, ""), padded("r@x.net", 64));
  put("test", key_hex(7, 0, ""), padded("mail", 256) + "020000000a010000" + padded("blue", 256));
  put("test", key_hex(8, 0, full_name), padded(full_name, 32) + "01000000");
  put("test", key_hex(9, 0, full_name), "00");
  fake.unreadable_keys = {platform_test::unhex(key_hex(9, 0, full_name))};
  fake.calls.clear();
  return sch_restore_config_from_pss(&sch_running_config, store);
}

const Conformance rows[] = {
    {"where the stores are", sch_pss_uri_init,
     R"(sysmgr_running_cfg_uri_get ; sysmgr_uri_complete running:  scheduler_runtime
sysmgr_uri_complete running:  scheduler_runtime_database ; sysmgr_uri_complete running:  scheduler_debug_runtime
sysmgr_startup_cfg_uri_get ; sysmgr_uri_complete startup:  scheduler_startup ; sysmgr_debug_cfg_uri_get
sysmgr_uri_complete debug:  scheduler_debug_startup
= 0)"},
    {"a new store", create, R"(pss_create some:store ; pss_max_key 1 40 ; pss_version_set 1 1 1 ; pss_max_value 1 1024
= 0)"},
    {"one without limits", [] { return sch_pss_create("some:store", 1024, 0, 0); },
     R"(pss_create some:store ; pss_version_set 1 1 1
= 0)"},
    {"a store that exists is left alone",
     [] {
       fake.stores["some:store"];
       return create();
     },
     R"(pss_create some:store
100| pss_create uri some:store exists ret code 80480011
= 0)"},
    {"a store that cannot be made", failing("pss_create", create), R"(pss_create some:store
100| uri some:store  ret code 40480009
= 65)"},
    {"a refused key size, whose code is not split", failing("pss_max_key", create),
     R"(pss_create some:store ; pss_max_key 1 40
100| could not alter key size to 40 error 0x40480009
tarn_syslog 3 <<%SCHEDULER-3-SCH_SYSLOG_PSS_ERR>> Purpose:Set max key size URI:some:store Error:1078460425
= 65)"},
    {"a refused value size", failing("pss_max_value", create),
     R"(pss_create some:store ; pss_max_key 1 40 ; pss_version_set 1 1 1 ; pss_max_value 1 1024
100| Error in setting max PSS value size to 1024 for some:store ; Syserr - type:1 facility:576 number:9
tarn_syslog 3 <<%SCHEDULER-3-SCH_SYSLOG_PSS_ERR>> Purpose:Set max value size URI:some:store Error:1078460425
= 65)"},
    {"closing what is open, then the debug and system services",
     [] {
       pss_running = open_store("a");
       pss_running_db = open_store("b");
       debug_pss_running = open_store("c");
       int arg = 0;
       return sch_pss_close_handles(&arg);
     },
     R"(pss_close 1 ; pss_close 2 ; sdwrap_dbg_clean arg ; sdwrap_sys_clean arg
= 0)"},
    {"closing nothing", [] { return sch_pss_close_handles(nullptr); }, R"(sdwrap_dbg_clean null ; sdwrap_sys_clean null
= 0)"},
    {"the first start", start,
     R"(pss_create running:scheduler_runtime ; pss_max_key 1 40 ; pss_version_set 1 1 1 ; pss_max_value 1 1024
pss_open running:scheduler_runtime ; pss_create running:scheduler_runtime_database ; pss_max_key 3 40
pss_version_set 3 1 1 ; pss_max_value 3 1024 ; pss_open running:scheduler_runtime_database
sysmgr_is_stateless_restart
100| Restoring config from runnning.
pss_move2location 2 1 ; pss_move2location 4 1
= 0)"},
    {"a stateful restart",
     [] {
       put(running_uri, key_hex(2, 0, ""), "01000000");
       fake.stores[running_db_uri];
       return start();
     },
     R"(pss_create running:scheduler_runtime
100| pss_create uri running:scheduler_runtime exists ret code 80480011
pss_open running:scheduler_runtime ; pss_create running:scheduler_runtime_database
100| pss_create uri running:scheduler_runtime_database exists ret code 80480011
pss_open running:scheduler_runtime_database ; sysmgr_is_stateless_restart
100| Restoring config from runnning.
pss_move2location 1 1 ; pss_getvalue 1
103| got key type 2 ; service ENABLED
pss_move2location 1 3 ; pss_move2location 2 1
= 0)"},
    {"a stateless restart, which writes the startup store into the running one and closes it",
     [] {
       put(startup_uri, key_hex(0, 0, "s"), zeros(144));
       put(running_db_uri, key_hex(255, 3, "s"), "0700000009000000");
       return start_stateless();
     },
     R"(pss_create running:scheduler_runtime ; pss_max_key 1 40 ; pss_version_set 1 1 1 ; pss_max_value 1 1024
pss_open running:scheduler_runtime ; pss_create running:scheduler_runtime_database
100| pss_create uri running:scheduler_runtime_database exists ret code 80480011
pss_open running:scheduler_runtime_database ; sysmgr_is_stateless_restart
100| Stateless restart
pss_open startup:scheduler_startup
100| Restoring config from startup.
pss_move2location 4 1 ; pss_getvalue 4
103| got key type 0
mtrack_alloc 224 5 40 ; mtrack_alloc 224 14 144 ; mtrack_alloc 224 14 (an entry) ; pss_move2location 4 3
103| pss save schedule s
pss_store 2 (0 x 8)73(0 x 31) = (0 x 144)
pss_store 2 00000003(0 x 36) = 'scheduler_circular_log.dat'(0 x 231)40(0 x 14)'NONE'(0 x 256)
103| saving log file info success
pss_close 4 ; pss_move2location 3 1 ; pss_getvalue 3 ; mtrack_alloc 224 4 44
102| job key not present!
mtrack_free 4 ; pss_move2location 3 3
= 0)"},
    {"one without a startup store", start_stateless,
     R"(pss_create running:scheduler_runtime ; pss_max_key 1 40 ; pss_version_set 1 1 1 ; pss_max_value 1 1024
pss_open running:scheduler_runtime ; pss_create running:scheduler_runtime_database ; pss_max_key 3 40
pss_version_set 3 1 1 ; pss_max_value 3 1024 ; pss_open running:scheduler_runtime_database
sysmgr_is_stateless_restart
100| Stateless restart
pss_open startup:scheduler_startup
100| No startup config/Unable to open pss at startup:scheduler_startup ; Syserr - type:1 facility:576 number:9
pss_move2location 4 1
= 0)"},
    {"a running store that cannot be opened", failing("pss_open", start),
     R"(pss_create running:scheduler_runtime ; pss_max_key 1 40 ; pss_version_set 1 1 1 ; pss_max_value 1 1024
pss_open running:scheduler_runtime
100| Cannot open runtime pss at running:scheduler_runtime ; Syserr - type:1 facility:576 number:9
tarn_syslog 3 <<%SCHEDULER-3-SCH_SYSLOG_PSS_ERR>> Purpose:Open runtime PSS URI:running:scheduler_runtime Error:1078460425
= 66)"},
    {"a database store that cannot be opened",
     [] {
       fake.stores[running_uri];
       fake.stores[running_db_uri];
       fake.store = {4, false};  // create, open, create, open
       return start();
     },
     R"(pss_create running:scheduler_runtime
100| pss_create uri running:scheduler_runtime exists ret code 80480011
pss_open running:scheduler_runtime ; pss_create running:scheduler_runtime_database
100| pss_create uri running:scheduler_runtime_database exists ret code 80480011
pss_open running:scheduler_runtime_database
100| Cannot open runtime db pss at running:scheduler_runtime_database ; Syserr - type:1 facility:576 number:9
tarn_syslog 3 <<%SCHEDULER-3-SCH_SYSLOG_PSS_ERR>> Purpose:Open runtime db PSS URI:running:scheduler_runtime_database Error:1078460425
= 66)"},
    {"a standby finds its stores",
     [] {
       fake.stores[running_uri];
       fake.stores[running_db_uri];
       return standby();
     },
     R"(pss_open running:scheduler_runtime ; pss_open running:scheduler_runtime_database
= 0)"},
    {"a standby without stores reports, makes and opens each", standby, R"(pss_open running:scheduler_runtime
100| Cannot open runtime pss at running:scheduler_runtime ; Syserr - type:1 facility:576 number:9
tarn_syslog 3 <<%SCHEDULER-3-SCH_SYSLOG_PSS_ERR>> Purpose:Open runtime PSS URI:running:scheduler_runtime Error:1078460425
pss_create running:scheduler_runtime ; pss_max_key 1 40 ; pss_version_set 1 1 1 ; pss_max_value 1 1024
pss_open running:scheduler_runtime ; pss_open running:scheduler_runtime_database
100| Cannot open runtime db pss at running:scheduler_runtime_database ; Syserr - type:1 facility:576 number:9
tarn_syslog 3 <<%SCHEDULER-3-SCH_SYSLOG_PSS_ERR>> Purpose:Open runtime db PSS URI:running:scheduler_runtime_database Error:1078460425
pss_create running:scheduler_runtime_database ; pss_max_key 3 40 ; pss_version_set 3 1 1 ; pss_max_value 3 1024
pss_open running:scheduler_runtime_database
= 0)"},
    {"a standby whose synchronisation failed rebuilds both stores", sch_standby_pss_init_gsync_fail,
     R"(sysmgr_running_cfg_uri_get ; sysmgr_uri_complete running:  scheduler_runtime
sysmgr_uri_complete running:  scheduler_runtime_database ; pss_destroy running:scheduler_runtime
pss_create running:scheduler_runtime ; pss_max_key 1 40 ; pss_version_set 1 1 1 ; pss_max_value 1 1024
pss_open running:scheduler_runtime ; pss_destroy running:scheduler_runtime_database
pss_create running:scheduler_runtime_database ; pss_max_key 3 40 ; pss_version_set 3 1 1 ; pss_max_value 3 1024
pss_open running:scheduler_runtime_database
= 0)"},
    {"a snapshot", snapshot, R"(pss_open from ; pss_snapshot 1 0 to ; pss_close 1
= 0)"},
    {"a snapshot of what cannot be opened", [] { return sch_pss_snapshot("nowhere", "to"); }, R"(pss_open nowhere
100| No startup config/Unable to open pss at nowhere
= -1)"},
    {"a copy that fails, with its source closed", failing("pss_snapshot", snapshot),
     R"(pss_open from ; pss_snapshot 1 0 to
100| PSS from to to snapshot failed ; Syserr - type:1 facility:576 number:9
tarn_syslog 2 <<%SCHEDULER-2-SCH_SYSLOG_PSS_SNAPSHOT_ERR>> Source URI:from Destination URI:to errcode:1078460425
pss_close 1
= -1)"},
    {"free space at the bound keeps the store", [] { return shrink(500); }, R"(pss_free_space 1
100| Free space in run: 500 status: 0x0  ; Freespace 500 max size 500. Uri run
= 0)"},
    {"free space over the bound shrinks it", [] { return shrink(501); }, R"(pss_free_space 1
100| Free space in run: 501 status: 0x0 
pss_shrink 1
100| Attempted pss shrink on run. status: 0x0\n
= 0)"},
    {"a shrink that fails", failing("pss_shrink", [] { return shrink(501); }), R"(pss_free_space 1
100| Free space in run: 501 status: 0x0 
pss_shrink 1
100| Attempted pss shrink on run. status: 0x40480009\n
= 0x40480009)"},
    {"free space that is not known keeps the store", failing("pss_free_space", [] { return shrink(501); }),
     R"(pss_free_space 1
100| Free space in run: 501 status: 0x40480009  ; Freespace 501 max size 500. Uri run
= 0x40480009)"},
    {"all three stores are shrunk", shrink_all, R"(pss_free_space 1
100| Free space in run: 501 status: 0x0 
pss_shrink 1
100| Attempted pss shrink on run. status: 0x0\n
pss_free_space 2
100| Free space in db: 501 status: 0x0 
pss_shrink 2
100| Attempted pss shrink on db. status: 0x0\n
pss_free_space 3
100| Free space in debug: 501 status: 0x0 
pss_shrink 3
100| Attempted pss shrink on debug. status: 0x0\n
= 0)"},
    {"sender", twice([](pss_handle h) { return save_transport(h, sch_save_email_from_conf_to_pss); }),
     R"(pss_store 1 00000005(0 x 36) = 'switch@example.net'(0 x 46)
103| saving Email FROM conf success
pss_store 1 00000005(0 x 36) = 'switch@example.net'(0 x 46)
103| saving Email FROM conf FAILED
= -1)"},
    {"reply-to", twice([](pss_handle h) { return save_transport(h, sch_save_email_replyto_conf_to_pss); }),
     R"(pss_store 1 00000006(0 x 36) = 'noc@example.net'(0 x 49)
103| saving Email reply-to conf success
pss_store 1 00000006(0 x 36) = 'noc@example.net'(0 x 49)
103| saving Email Reply-to conf FAILED
= -1)"},
    {"server", twice([](pss_handle h) { return save_transport(h, sch_save_email_smtpserver_conf_to_pss); }),
     R"(pss_store 1 00000007(0 x 36) = 'mail.example.net'(0 x 240)1000000002010000'blue'(0 x 252)
103| saving Email smtpserver conf success
pss_store 1 00000007(0 x 36) = 'mail.example.net'(0 x 240)1000000002010000'blue'(0 x 252)
103| saving Email smtpserver conf FAILED
= -1)"},
    {"addresses of a schedule", twice(save_addresses),
     R"(pss_store 1 0000000800000000'abcdefghijklmnopqrstuvwxyz012345' = 'abcdefghijklmnopqrstuvwxyz012345'02000000'a@x.net'(0 x 57)01000000'b@x.net'(0 x 57)01(0 x 547)
pss_store 1 0000000800000000'abcdefghijklmnopqrstuvwxyz012345' = 'abcdefghijklmnopqrstuvwxyz012345'02000000'a@x.net'(0 x 57)01000000'b@x.net'(0 x 57)01(0 x 547)
103| PSS error 0x40480009 while saving the schedule email entry abcdefghijklmnopqrstuvwxyz012345
103| Syserr - type:1 facility:576 number:9
= -1)"},
    {"no addresses", [] { return sch_save_schedule_email_entry_to_pss(open_store(), nullptr); }, R"(= 0)"},
    {"schedule", twice([](pss_handle h) { return save_schedule(h); }),
     R"(pss_store 1 (0 x 7)05'abcdefghijklmnopqrstuvwxyz012345' = a4a3a2a10000000001000080(0 x 27)01b4b3b2b1040000000d00000002000000040000003b0000000b0000007e000000ffffffff04030201c4c3c2c1d1(0 x 58)d2
pss_store 1 (0 x 7)05'abcdefghijklmnopqrstuvwxyz012345' = a4a3a2a10000000001000080(0 x 27)01b4b3b2b1040000000d00000002000000040000003b0000000b0000007e000000ffffffff04030201c4c3c2c1d1(0 x 58)d2
103| PSS error 0x40480009 while saving the schedule entry abcdefghijklmnopqrstuvwxyz012345
103| Syserr - type:1 facility:576 number:9
= -1)"},
    {"log file", twice(save_log_file),
     R"(pss_store 1 000000030a0b0c0d'log'(0 x 29) = 'log.dat'(0 x 249)040302011413121124232221'4321flash:log.dat'(0 x 243)'DCBA'
103| saving log file info success
pss_store 1 000000030a0b0c0d'log'(0 x 29) = 'log.dat'(0 x 249)040302011413121124232221'4321flash:log.dat'(0 x 243)'DCBA'
103| saving log file info FAILED
= -1)"},
    {"enable flag", twice([](pss_handle h) {
       const sch_config_key key{SCH_CONFIG_ENABLE, 0, ""};
       return sch_save_condition_entry_to_pss(h, &key, -2);
     }),
     R"(pss_store 1 00000002(0 x 36) = feffffff
103| saving ENABLE flag success
pss_store 1 00000002(0 x 36) = feffffff
103| saving ENABLE flag FAILED
= -1)"},
    {"run-time status", twice(save_status),
     R"(pss_store 1 000000ff00000102'abcdefghijklmnopqrstuvwxyz012345' = 1413121124232221
pss_store 1 000000ff00000102'abcdefghijklmnopqrstuvwxyz012345' = 1413121124232221
103| PSS error 0x40480009 saving the job 258 status for schedule abcdefghijklmnopqrstuvwxyz012345
103| Syserr - type:1 facility:576 number:9
= -1)"},
    {"the whole configuration: schedules as listed, jobs by index, the log file",
     [] { return on_a_store([](pss_handle h) { return sch_save_config_to_pss(&sch_running_config, h); }); },
     R"(103| pss save schedule zulu
pss_store 1 (0 x 8)'zulu'(0 x 28) = (0 x 144)
103| pss save schedule abcdefghijklmnopqrstuvwxyz012345
pss_store 1 (0 x 8)'abcdefghijklmnopqrstuvwxyz012345' = (0 x 144)
103| pss save job first (0)
pss_store 1 0000000100000000'first'(0 x 27) = 00000000'D3'221106040000
pss_store 1 0000000100000001'first'(0 x 27) = 'show line 1'0a'show line 2'0a'show line 3'0a'show line 4'0a'show line 5'0a'show line 6'0a'show line 7'0a'show line 8'0a'show line 9'0a'show line 10'0a'show line 11'0a'show line 12'0a'show line 13'0a'show line 14'0a'show line 15'0a'show line 16'0a'show line 17'0a'show line 18'0a'show line 19'0a'show line 20'0a'show line 21'0a'show line 22'0a'show line 23'0a'show line 24'0a'show line 25'0a'show line 26'0a'show line 27'0a'show line 28'0a'show line 29'0a'show line 30'0a'show line 31'0a'show line 32'0a'show line 33'0a'show line 34'0a'show line 35'0a'show line 36'0a'show line 37'0a'show line 38'0a'show line 39'0a'show line 40'0a'show line 41'0a'show line 42'0a'show line 43'0a'show line 44'0a'show line 45'0a'show line 46'0a'show line 47'0a'show line 48'0a'show line 49'0a'show line 50'0a'show line 51'0a'show line 52'0a'show line 53'0a'show line 54'0a'show line 55'0a'show line 56'0a'show line 57'0a'show line 58'0a'show line 59'0a'show line 60'0a'show line 61'0a'show line 62'0a'show line 63'0a'show line 64'0a'show line 65'0a'show line 66'0a'show line 67'0a'show line 68'0a'show line 69'0a'show line 70'0a'show line 71'0a'show line 72'0a'show line 73'0a'show line 74'0a'show line 75'0a'show line 76'0a'show line 77'0a'show line 78'0a'show line 79'0a'show l'
pss_store 1 0000000100000002'first'(0 x 27) = 'ine 80'
103| pss save job abcdefghijklmnopqrstuvwxyz012345 (255)
pss_store 1 0000000100000000'abcdefghijklmnopqrstuvwxyz012345' = ff000000'D3'221102000000
pss_store 1 0000000100000001'abcdefghijklmnopqrstuvwxyz012345' = 7a0a
pss_store 1 00000003(0 x 36) = 'scheduler_circular_log.dat'(0 x 231)40(0 x 14)'NONE'(0 x 256)
103| saving log file info success
= 0)"},
    {"a job is deleted by the fragments that it has",
     [] { return on_a_store([](pss_handle h) { return sch_delete_job_entry_from_pss(h, &sch_job_list[0]); }); },
     R"(103| pss delete job (first) key entry
pss_delete 1 0000000100000000'first'(0 x 27)
103| pss delete job (first) fragment (1)
pss_delete 1 0000000100000001'first'(0 x 27)
103| pss delete job (first) fragment (2)
pss_delete 1 0000000100000002'first'(0 x 27)
= 0)"},
    {"one whose name fills its field",
     [] { return on_a_store([](pss_handle h) { return sch_delete_job_entry_from_pss(h, &sch_job_list[255]); }); },
     R"(103| pss delete job (abcdefghijklmnopqrstuvwxyz012345) key entry
pss_delete 1 0000000100000000'abcdefghijklmnopqrstuvwxyz012345'
103| pss delete job (abcdefghijklmnopqrstuvwxyz012345) fragment (1)
pss_delete 1 0000000100000001'abcdefghijklmnopqrstuvwxyz012345'
= 0)"},
    {"one without a text, which the whole save leaves out",
     [] { return on_a_store([](pss_handle h) { return sch_delete_job_entry_from_pss(h, &sch_job_list[7]); }); },
     R"(103| pss delete job (empty) key entry
pss_delete 1 0000000100000000'empty'(0 x 27)
= 0)"},
    {"all statuses, by the jobs' indices",
     [] { return on_a_store([](pss_handle h) { return sch_save_db_to_pss(&sch_running_config, h); }); },
     R"(103| saving job first (0)
pss_store 1 000000ff00000000'zulu'(0 x 28) = 0100000002000000
pss_store 1 000000ff00000000'alpha'(0 x 27) = 0300000004000000
103| saving job abcdefghijklmnopqrstuvwxyz012345 (255)
= 0)"},
    {"a job's statuses are deleted by keys of type 4, and freed",
     [] {
       return on_a_store([](pss_handle h) { return sch_delete_all_status_for_job_from_pss(h, &sch_job_list[0]); });
     },
     R"(103| pss delete job (first) status (0)
pss_delete 1 0000000400000000'zulu'(0 x 28) ; mtrack_free 99
103| pss delete job (first) status (0)
pss_delete 1 0000000400000000'alpha'(0 x 27) ; mtrack_free 99
= 0)"},
    {"a schedule and its addresses are deleted whatever the store answers",
     [] {
       const pss_handle store = open_store();
       sch_config_key key{SCH_CONFIG_SCHEDULE, 5, "nightly"};
       sch_schedule_entry schedule{&key, nullptr, {}};
       const sch_schedule_email_entry entry = email_entry("nightly", {});
       return sch_delete_schedule_entry_from_pss(store, &schedule) +
              sch_delete_schedule_email_entry_from_pss(store, &entry);
     },
     R"(pss_delete 1 (0 x 7)05'nightly'(0 x 25) ; pss_delete 1 0000000800000000'nightly'(0 x 25)
= 0)"},
    {"a restore of each kind of record", restore, R"(pss_move2location 1 1 ; pss_getvalue 1
103| got key type 0
mtrack_alloc 224 5 40 ; mtrack_alloc 224 14 144 ; mtrack_alloc 224 14 (an entry) ; pss_move2location 1 3
pss_getvalue 1
103| got key type 1
mtrack_alloc 224 5 40 ; mtrack_alloc 224 6 12
103| job job key added
pss_move2location 1 3 ; pss_getvalue 1
103| got key type 1
mtrack_alloc 224 5 40 ; mtrack_alloc 224 7 2
103| found job id 3
mtrack_free 5
103| job job (3) adding fragment 1
pss_move2location 1 3 ; pss_getvalue 1
103| got key type 2 ; service ENABLED
pss_move2location 1 3 ; pss_getvalue 1
103| got key type 3 ; got log file entry ; rd offset 134678021 count 13
pss_move2location 1 3 ; pss_getvalue 1
103| got key type 4
mtrack_alloc 224 5 40 ; pss_move2location 1 3 ; pss_getvalue 1
103| got key type 5 ; got Global Email from conf entry ; Configured Global email conf values :From :a@x.net\n
pss_move2location 1 3 ; pss_getvalue 1
103| got key type 6 ; Got Global Email replyto conf entry\n
103| Configured Global email conf values :reply-to :r@x.net\n
pss_move2location 1 3 ; pss_getvalue 1
103| got key type 7 ; got smtp server conf entry
103| Configured Global email conf values :smtp server: mail, port:266, vrf:blue
pss_move2location 1 3 ; pss_getvalue 1
103| got key type 8 ; got schedule email conf entry
103| Configured schedule email conf for abcdefghijklmnopqrstuvwxyz012345 is 1\n
mtrack_alloc 224 14 716 ; pss_move2location 1 3 ; pss_getvalue 1
103| could not retrieve value for abcdefghijklmnopqrstuvwxyz012345
pss_move2location 1 3
= 0)"},
    {"a restore that finds no first key",
     [] {
       const pss_handle store = open_store();
       fake.store = {1, false};
       return sch_restore_config_from_pss(&sch_running_config, store);
     },
     R"(pss_move2location 1 1
103| could not move to first key
= 0)"},
    {"a restore of statuses",
     [] {
       add_job(sch_running_config, 1, "job", "x\n");
       const pss_handle store = open_store();
       put("test", key_hex(255, 1, "a"), "0100000002000000");
       put("test", key_hex(255, 2, "of no job"), "0100000002000000");
       fake.calls.clear();
       return sch_restore_db_from_pss(&sch_running_config, store);
     },
     R"(pss_move2location 1 1 ; pss_getvalue 1 ; mtrack_alloc 224 4 44
102| adding status # 1 for job job
pss_move2location 1 3 ; pss_getvalue 1 ; mtrack_alloc 224 4 44
102| job key not present!
mtrack_free 4 ; pss_move2location 1 3
= 0)"},
    {"one that finds no first key",
     [] {
       const pss_handle store = open_store();
       fake.store = {1, false};
       return sch_restore_db_from_pss(&sch_running_config, store);
     },
     R"(pss_move2location 1 1
103| could not move to first key in rundb
= 0)"},
    {"one without memory",
     [] {
       const pss_handle store = open_store();
       put("test", key_hex(255, 1, "a"), "0100000002000000");
       fake.alloc = {1, false};
       return sch_restore_db_from_pss(&sch_running_config, store);
     },
     R"(pss_move2location 1 1 ; pss_getvalue 1 ; mtrack_alloc 224 4 44
103| restore db ; \n
tarn_syslog 2 <<%SCHEDULER-2-SCH_SYSLOG_MALLOC_ERR>> Out of memory: restore db
= 0)"},
};

TEST_F(PssConformance, of_the_stores) {
  const std::string entry = "mtrack_alloc 224 14 " + std::to_string(sizeof(sch_schedule_entry));
  platform_test::expect_conformance(rows, [] {}, {{entry, "mtrack_alloc 224 14 (an entry)"}});
}

}  // namespace
