// SPDX-License-Identifier: Apache-2.0
// The calls of an allocation, a trace and an error code's trace in their order.
#include <gmock/gmock.h>

#include "diag/trace.h"
#include "platform/memory.h"
#include "tests/platform/platform.h"

using namespace platform_test;
using ::testing::ElementsAre;

namespace {

class DiagConformance : public PlatformTest {};

TEST_F(DiagConformance, a_failed_allocation_traces_twice_raises_the_message_and_returns_null_in_this_order) {
  fake.alloc.nth = 1;
  fake.record_traces = true;
  const Output output = capture([] { EXPECT_EQ(sch_malloc_check(40, 5, 0, "add config entry"), nullptr); });
  EXPECT_THAT(fake.calls,
              ElementsAre("mtrack_alloc 224 5 40",                         //
                          "sdwrap_hist_event_subtype_check 0x730000 103",  //
                          "sdwrap_hist_event 103 add config entry",        //
                          "sdwrap_chk_int 103 0 0 1",                      //
                          "buginf 1 scheduler 0 add config entry",         //
                          "sdwrap_hist_event_subtype_check 0x730000 103",  //
                          "sdwrap_hist_event 103 \n",                      //
                          "sdwrap_chk_int 103 0 0 1",                      //
                          "buginf 1 scheduler 0 \n",                       //
                          "tarn_syslog 2 <<%SCHEDULER-2-SCH_SYSLOG_MALLOC_ERR>> Out of memory: add config entry"));
  EXPECT_THAT(fake.buginf_formats, ElementsAre("add config entry", "\n")) << "the purpose is the format";
  EXPECT_EQ(output.err, "");
  EXPECT_EQ(output.out, "");
}

TEST_F(DiagConformance, a_trace_reaches_all_sinks_in_order) {
  fake.record_traces = true;
  cli_debug = 1;
  const Output output = capture([] { SCH_TRACE_CLI("job %s (%d)", "backup", 3); });
  EXPECT_EQ(output.err, "job backup (3)\n");
  EXPECT_EQ(output.out, "");
  EXPECT_THAT(fake.calls, ElementsAre("sdwrap_hist_event_subtype_check 0x730000 103",  //
                                      "sdwrap_hist_event 103 job backup (3)",          //
                                      "sdwrap_chk_int 103 0 0 1",                      //
                                      "buginf 1 scheduler 0 job backup (3)"));
  EXPECT_THAT(fake.buginf_formats, ElementsAre("job %s (%d)"));
}

TEST_F(DiagConformance, the_calls_of_an_error_code_come_in_the_order_of_the_sinks) {
  fake.record_traces = true;
  sch_syserr_log(103, 0x40480003);
  EXPECT_THAT(fake.calls, ElementsAre("sdwrap_hist_event_subtype_check 0x730000 103",                 //
                                      "sdwrap_hist_event 103 Syserr - type:1 facility:576 number:3",  //
                                      "sdwrap_chk_int 103 0 0 1",                                     //
                                      "buginf 1 scheduler 0 Syserr - type:1 facility:576 number:3"));
}

}  // namespace
