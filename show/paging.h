// SPDX-License-Identifier: Apache-2.0
// Jobs and schedules are asked for one at a time: a cursor is carried from each reply into the next request.
#pragma once

#include "cli/exit_status.h"
#include "cli/free_ptr.h"
#include "cli/report.h"
#include "diag/trace.h"
#include "show/request.h"

namespace show {

template <typename Record>
struct Subject {
  uint32_t opcode;
  int32_t Record::*cursor;
  uint64_t (*bytes)(const Record *);  // what the reply announces, its fixed part included
  void (*trace_request)();
  void (*trace_success)();
};

extern const Subject<sch_show_job_reply> jobs;
extern const Subject<sch_show_schedule_reply> schedules;

enum class Naming { sent, withheld };

// Prints each reply until there is none; only the first when the command has one parameter, even if its name is not
// sent.
template <typename Record>
int show_pages(const sch_cli_cmd_ctx *ctx, const Subject<Record> &subject, Naming naming,
               void (*print)(const Record *)) {
  const FreePtr<Request> request = new_request(subject.opcode);
  if (!request) return exit_memory;
  if (naming == Naming::sent && !take_name(ctx, request.get())) return report_missing_parameter();
  for (bool more = true; more; more = !names_one(ctx)) {
    subject.trace_request();
    Reply reply(sizeof(Request));
    if (!ask_service(ctx, SCH_CLASS_SHOW, request.get(), &reply)) return exit_transport_error;
    if (reply.is_null()) {
      SCH_TRACE_CLI("nothing to show");
      break;
    }
    const Record *record = reply.as<Record>();
    if (!reply.holds(sizeof(Record)) || !reply.holds(subject.bytes(record))) return report_incomplete_reply();
    print(record);
    request->payload.cursor = record->*subject.cursor;
  }
  subject.trace_success();
  return exit_success;
}

}  // namespace show
