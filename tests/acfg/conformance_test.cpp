// SPDX-License-Identifier: Apache-2.0
// The calls and traces of generating a configuration, in their order.
#include "tests/acfg/configuration.h"
#include "tests/platform/journal.h"

using namespace platform_test;
using namespace acfg_test;

namespace {

using ConformanceTest = PlatformTest;

int startup_request() {
  hold_configuration();
  hold_level(debug_uri);
  return request(startup);
}

const Conformance rows[] = {
    {"a type that is not known", [] { return request(unknown_type); }, R"(100| Received Request to generate Ascii config
acfg_hdl_init ; acfg_cfg_type_get ; acfg_respond
= 0)"},
    {"the running configuration of an empty database", [] { return request(running); },
     R"(100| Received Request to generate Ascii config
acfg_hdl_init ; acfg_cfg_type_get ; acfg_elem_add 224 1 12 ; acfg_elem_add 224 3 2 ; acfg_elem_add 224 2 3
acfg_elem_str_add_indent 3 0 feature scheduler\n ; acfg_respond
= 0)"},
    {"the running configuration, of the live database and the open debug store",
     [] {
       uint32_t error = 0;
       debug_pss_running = pss_create("debug:running", &error);
       hold_level("debug:running", "01000000 03000000");
       add_job(&sch_running_config, 0, "j", "a\n");
       add_schedule(&sch_running_config, "s", daily(23, 30), {0});
       add_job(&sch_startup_config, 0, "never", "b\n");
       return request(running);
     },
     R"(100| Received Request to generate Ascii config
acfg_hdl_init ; acfg_cfg_type_get ; acfg_elem_add 224 1 12 ; acfg_elem_add 224 3 2 ; acfg_elem_add 224 2 3
pss2_fetch 1 16000000 ; acfg_elem_dependency_add 2 118 1
acfg_elem_group_config_str_add 115 0 3 logging level scheduler 3\n
acfg_elem_str_add_indent 3 0 feature scheduler\n ; acfg_elem_str_add_indent 1 0 scheduler job name j\n
mtrack_alloc 224 12 4
102| length 2 fragments 1
103| fragment count 1 2
acfg_elem_str_add_indent 1 0 a\n ; mtrack_free 12 ; acfg_elem_str_add_indent 1 0 end-job\n\n
acfg_elem_str_add_indent 1 0 scheduler schedule name s\n ; acfg_elem_str_add_indent 1 1 job name j\n
acfg_elem_str_add_indent 1 0   time daily 23:30\n ; acfg_elem_str_add_indent 1 0 \n ; acfg_respond
= 0)"},
    {"the startup configuration",
     [] {
       fake.stores[startup_uri] = {};
       hold_level(debug_uri);
       return request(startup);
     },
     R"(100| Received Request to generate Ascii config
acfg_hdl_init ; acfg_cfg_type_get ; acfg_startup_cfg_uri_prefix_get
acfg_uri_complete startup:  scheduler_startup
100| Opening Startup config PSS file at startup:scheduler_startup
pss_open startup:scheduler_startup ; pss_move2location 1 1 ; acfg_startup_debug_cfg_uri_prefix_get
acfg_uri_complete startup-debug:  scheduler_debug_startup ; pss_open startup-debug:scheduler_debug_startup
acfg_elem_add 224 1 12 ; acfg_elem_add 224 3 2 ; acfg_elem_add 224 2 3 ; pss2_fetch 2 16000000
acfg_elem_dependency_add 2 118 1 ; acfg_elem_group_config_str_add 115 0 3 logging level scheduler 7\n
acfg_elem_str_add_indent 3 0 feature scheduler\n ; pss_close 1 ; pss_close 2 ; acfg_respond
= 0)"},
    {"a startup store that does not open", [] { return request(startup); },
     R"(100| Received Request to generate Ascii config
acfg_hdl_init ; acfg_cfg_type_get ; acfg_startup_cfg_uri_prefix_get
acfg_uri_complete startup:  scheduler_startup
100| Opening Startup config PSS file at startup:scheduler_startup
pss_open startup:scheduler_startup
100| Error in opening in PSS file 0x40480009
acfg_respond
= 0)"},
    {"a missing startup URI, which is not opened",
     [] {
       fake.acfg_uncompletable = {"scheduler_startup"};
       return startup_request();
     },
     R"(100| Received Request to generate Ascii config
acfg_hdl_init ; acfg_cfg_type_get ; acfg_startup_cfg_uri_prefix_get
acfg_uri_complete startup:  scheduler_startup
100| Opening Startup config PSS file at (null)
acfg_respond
= 0)"},
    {"a startup handle beside an error, which generates nothing",
     [] {
       fake.error_on_open_of = startup_uri;
       return startup_request();
     },
     R"(100| Received Request to generate Ascii config
acfg_hdl_init ; acfg_cfg_type_get ; acfg_startup_cfg_uri_prefix_get
acfg_uri_complete startup:  scheduler_startup
100| Opening Startup config PSS file at startup:scheduler_startup
pss_open startup:scheduler_startup
100| Error in opening in PSS file 0x40480009
acfg_respond
= 0)"},
    {"a missing debug URI, which loses the logging level alone",
     [] {
       fake.acfg_uncompletable = {"scheduler_debug_startup"};
       fake.stores[startup_uri] = {};
       return request(startup);
     },
     R"(100| Received Request to generate Ascii config
acfg_hdl_init ; acfg_cfg_type_get ; acfg_startup_cfg_uri_prefix_get
acfg_uri_complete startup:  scheduler_startup
100| Opening Startup config PSS file at startup:scheduler_startup
pss_open startup:scheduler_startup ; pss_move2location 1 1 ; acfg_startup_debug_cfg_uri_prefix_get
acfg_uri_complete startup-debug:  scheduler_debug_startup
100| Error in getting dbg_uri\n
acfg_elem_add 224 1 12 ; acfg_elem_add 224 3 2 ; acfg_elem_add 224 2 3
acfg_elem_str_add_indent 3 0 feature scheduler\n ; pss_close 1 ; acfg_respond
= 0)"},
    {"a debug store that does not open, which loses the same",
     [] {
       fake.stores[startup_uri] = {};
       return request(startup);
     },
     R"(100| Received Request to generate Ascii config
acfg_hdl_init ; acfg_cfg_type_get ; acfg_startup_cfg_uri_prefix_get
acfg_uri_complete startup:  scheduler_startup
100| Opening Startup config PSS file at startup:scheduler_startup
pss_open startup:scheduler_startup ; pss_move2location 1 1 ; acfg_startup_debug_cfg_uri_prefix_get
acfg_uri_complete startup-debug:  scheduler_debug_startup ; pss_open startup-debug:scheduler_debug_startup
100| Error in opening in debyg PSS file 0x40480009
acfg_elem_add 224 1 12 ; acfg_elem_add 224 3 2 ; acfg_elem_add 224 2 3
acfg_elem_str_add_indent 3 0 feature scheduler\n ; pss_close 1 ; acfg_respond
= 0)"},
    {"a debug handle beside an error, which is used, and close errors, which are ignored",
     [] {
       fake.stores[startup_uri] = {};
       hold_level(debug_uri);
       fake.error_on_open_of = debug_uri;
       fake.errors["pss_close"] = 0x1f;
       return request(startup);
     },
     R"(100| Received Request to generate Ascii config
acfg_hdl_init ; acfg_cfg_type_get ; acfg_startup_cfg_uri_prefix_get
acfg_uri_complete startup:  scheduler_startup
100| Opening Startup config PSS file at startup:scheduler_startup
pss_open startup:scheduler_startup ; pss_move2location 1 1 ; acfg_startup_debug_cfg_uri_prefix_get
acfg_uri_complete startup-debug:  scheduler_debug_startup ; pss_open startup-debug:scheduler_debug_startup
100| Error in opening in debyg PSS file 0x40480009
acfg_elem_add 224 1 12 ; acfg_elem_add 224 3 2 ; acfg_elem_add 224 2 3 ; pss2_fetch 2 16000000
acfg_elem_dependency_add 2 118 1 ; acfg_elem_group_config_str_add 115 0 3 logging level scheduler 7\n
acfg_elem_str_add_indent 3 0 feature scheduler\n ; pss_close 1
100| Error in closing in PSS file 0x1f
pss_close 2
100| Error in closing in PSS file 0x1f
acfg_respond
= 0)"},
    {"a job without memory, which keeps its name and end",
     [] {
       sch_job_entry *slot = add_job(&sch_running_config, 0, "j", "a\n");
       fake.alloc = {1, true, 0};
       fake.calls.clear();
       acfg_hdl handle = {};
       return sch_add_job_cfg(&sch_running_config, &handle, slot);
     },
     R"(acfg_elem_str_add_indent 1 0 scheduler job name j\n ; mtrack_alloc 224 12 4
103| create script file ; \n
tarn_syslog 2 <<%SCHEDULER-2-SCH_SYSLOG_MALLOC_ERR>> Out of memory: create script file
acfg_elem_str_add_indent 1 0 end-job\n\n
= 0)"},
};

TEST_F(ConformanceTest, of_generated_configurations) {
  expect_conformance(rows);
}

}  // namespace
