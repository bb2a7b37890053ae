// SPDX-License-Identifier: Apache-2.0
// What each show command sends, byte by byte, with its calls, traces and output in their order.
#include "tests/platform/journal.h"
#include "tests/show/replies.h"

using namespace platform_test;
using namespace show_test;

namespace {

class ShowConformance : public PlatformTest {};

std::function<int()> shown(Handler handler, const std::deque<Reply> &replies,
                           const std::vector<std::string> &params = {}) {
  return [=] {
    fake.replies = replies;
    Context context(params);
    return handler(context.get());
  };
}

std::function<int()> log_shown(const std::deque<std::string> &messages, const std::vector<std::string> &params = {}) {
  return [=] {
    fake.messages = messages;
    Context context(params);
    return sch_cli_show_logfile(context.get());
  };
}

const Reply job = Reply::with(job_reply("backup", 255, "show clock\n")), log_size = Reply::with(raw(int32_t{16384})),
            transport = Reply::with(std::string(456, '\0')),
            schedule = Reply::with(raw(schedule_record("nightly", 0x01020304)));

const Conformance rows[] = {
    {"all jobs", shown(sch_cli_show_jobs, {job}), R"(103| sending show job request
cmi_req_resp 5951 2 admin console 136 42 0 0x0 0700000028(0 x 39)ffffffff
103| sending show job request
cmi_req_resp 5951 2 admin console 136 42 0 0x0 0700000028(0 x 39)ff000000
103| nothing to show
out| Job Name: backup\n----------------\nshow clock\n==============================================================================\n
= 0)"},
    {"a named job, which is asked for once", shown(sch_cli_show_jobs, {job, job}, {"backup"}),
     R"(103| parameter found ; sending show job request
cmi_req_resp 5951 2 admin console 136 42 0 0x0 0700000028(0 x 7)'backup'(0 x 26)ffffffff
out| Job Name: backup\n----------------\nshow clock\n==============================================================================\n
= 0)"},
    {"jobs that cannot be shown", shown(sch_cli_show_jobs, {failed(0x40be0001)}), R"(103| sending show job request
cmi_req_resp 5951 2 admin console 136 42 0 0x0 0700000028(0 x 39)ffffffff
103| error is 1086193665 platform error 0x40be0001
err| Error: platform error 0x40be0001\n
= 1)"},
    {"all schedules", shown(sch_cli_show_schedules, {schedule}), R"(103| send show schedule request
cmi_req_resp 5951 2 admin console 136 42 0 0x0 0600000028(0 x 39)ffffffff
103| send show schedule request
cmi_req_resp 5951 2 admin console 136 42 0 0x0 0600000028(0 x 39)04030201
103| nothing to show ; successful run
out| Schedule Name       : nightly\n-----------------------------\nUser Name           : owner\nSchedule Type       : Run every day at 23 Hrs 30 Mins\nLast Execution Time : Yet to be executed\n-----------------------------------------------\n     Job Name            Last Execution Status\n-----------------------------------------------\n          No jobs assigned to schedule\n==============================================================================\n
= 0)"},
    {"a named schedule", shown(sch_cli_show_schedules, {schedule, schedule}, {"nightly"}),
     R"(103| parameter found ; send show schedule request
cmi_req_resp 5951 2 admin console 136 42 0 0x0 0600000028(0 x 7)'nightly'(0 x 25)ffffffff
103| successful run
out| Schedule Name       : nightly\n-----------------------------\nUser Name           : owner\nSchedule Type       : Run every day at 23 Hrs 30 Mins\nLast Execution Time : Yet to be executed\n-----------------------------------------------\n     Job Name            Last Execution Status\n-----------------------------------------------\n          No jobs assigned to schedule\n==============================================================================\n
= 0)"},
    {"a named one that is not there", shown(sch_cli_show_schedules, {}, {"nightly"}),
     R"(103| parameter found ; send show schedule request
cmi_req_resp 5951 2 admin console 136 42 0 0x0 0600000028(0 x 7)'nightly'(0 x 25)ffffffff
103| nothing to show ; successful run
= 0)"},
    {"schedules that cannot be shown", shown(sch_cli_show_schedules, {failed(9)}), R"(103| send show schedule request
cmi_req_resp 5951 2 admin console 136 42 0 0x0 0600000028(0 x 39)ffffffff
103| error is 9 platform error 0x9
err| Error: platform error 0x9\n
= 1)"},
    {"the whole configuration", shown(sch_cli_show_config, {log_size, transport, job, Reply(), schedule, Reply()}),
     R"(cmi_req_resp 5951 2 admin console 136 42 0 0x0 0c(0 x 7)
cmi_req_resp 5951 1 admin console 136 42 0 0x0 13(0 x 7)
103| sending show job request
cmi_req_resp 5951 2 admin console 136 42 0 0x0 0700000028(0 x 39)ffffffff
103| sending show job request
cmi_req_resp 5951 2 admin console 136 42 0 0x0 0700000028(0 x 39)ff000000
103| nothing to show ; send show schedule request
cmi_req_resp 5951 2 admin console 136 42 0 0x0 0600000028(0 x 39)ffffffff
103| send show schedule request
cmi_req_resp 5951 2 admin console 136 42 0 0x0 0600000028(0 x 39)04030201
103| nothing to show ; successful run
out| config terminal\n  feature scheduler\n  scheduler logfile size 16\nend\n\nconfig terminal\n scheduler job name backup\nshow clock\nend\n\nconfig terminal\n  scheduler schedule name nightly\n    time daily 23:30\nend\n\n
= 0)"},
    {"one parameter stops behind the first job and schedule, and is not sent",
     shown(sch_cli_show_config, {log_size, transport, job, schedule}, {"k"}),
     R"(cmi_req_resp 5951 2 admin console 136 42 0 0x0 0c(0 x 7)
cmi_req_resp 5951 1 admin console 136 42 0 0x0 13(0 x 7)
103| sending show job request
cmi_req_resp 5951 2 admin console 136 42 0 0x0 0700000028(0 x 39)ffffffff
103| send show schedule request
cmi_req_resp 5951 2 admin console 136 42 0 0x0 0600000028(0 x 39)ffffffff
103| successful run
out| config terminal\n  feature scheduler\n  scheduler logfile size 16\nend\n\nconfig terminal\n scheduler job name backup\nshow clock\nend\n\nconfig terminal\n  scheduler schedule name nightly\n    time daily 23:30\nend\n\n
= 0)"},
    {"a configuration that cannot be shown", shown(sch_cli_show_config, {failed(5), failed(5), failed(5), failed(5)}),
     R"(cmi_req_resp 5951 2 admin console 136 42 0 0x0 0c(0 x 7)
103| error is 5 platform error 0x5
cmi_req_resp 5951 1 admin console 136 42 0 0x0 13(0 x 7)
103| error is 5 platform error 0x5 ; sending show job request
cmi_req_resp 5951 2 admin console 136 42 0 0x0 0700000028(0 x 39)ffffffff
103| error is 5 platform error 0x5 ; send show schedule request
cmi_req_resp 5951 2 admin console 136 42 0 0x0 0600000028(0 x 39)ffffffff
103| error is 5 platform error 0x5
out| end\n\n
err| Error: platform error 0x5\nError: platform error 0x5\nError: platform error 0x5\nError: platform error 0x5\n
= 0)"},
    {"an entry of the log in two messages",
     log_shown({log_message(log_entry(2, 1, 6), "abc"), log_message(log_entry(7, 8, 99), "def"), log_message(2, 2, "")},
               {"nightly"}),
     R"(103| parameter found
cmi_send_request 5951 2 admin console 136 42 0 0xfe000000 0800000028(0 x 7)'nightly'(0 x 25)ffffffff
mts_rr_token_get 77 ; mts_recv 42 ; cmi_parse_response 131
103| ***LOG ENTRY count 2 entry 1 ; entry 1 recvd 3 total 6
mts_recv 42 ; cmi_parse_response 131
103| entry 2 recvd 6 total 6
mts_recv 42 ; cmi_parse_response 128
103| ***LOG ENTRY count 2 entry 2 ; entry 1 recvd 0 total 0
out| Job Name       : backup                            Job Status: Success (0)\nSchedule Name  : nightly                           User Name : admin\nCompletion time: Thu Jan  1 00:00:00 1970\n--------------------------------- Job Output ---------------------------------\nabcdef==============================================================================\nJob Name       : backup                            Job Status: Success (0)\nSchedule Name  : nightly                           User Name : admin\nCompletion time: Thu Jan  1 00:00:00 1970\n--------------------------------- Job Output ---------------------------------\n==============================================================================\n
= 0)"},
    {"a log that is not there",
     [] {
       fake.errors["cmi_send_request"] = 0x40be0007;
       return log_shown({})();
     },
     R"(cmi_send_request 5951 2 admin console 136 42 0 0xfe000000 0800000028(0 x 39)ffffffff
err| Error: platform error 0x40be0007\n
= 0x40be0007)"},
    {"memory statistics, whose outcome is ignored",
     [] {
       fake.errors["sdwrap_debug_dump"] = 5;
       return shown(sch_cli_show_memstats, {})();
     },
     R"(sdwrap_debug_dump 42 0xfe000000 136 0 1 mtrack_dump_memstats
= 0)"},
};

TEST_F(ShowConformance, of_the_show_commands) {
  expect_conformance(rows);
}

}  // namespace
