// SPDX-License-Identifier: Apache-2.0
// The library's handlers, recorded: this executable's definitions come before the library's.
#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "control/operations.h"
#include "host/transport/transport.h"
#include "schedcli.h"

namespace recorder {

// One line a call: handler, "no" for the negated form, "/" and the sub-command where there is one, then the parameters:
// texts in quotes, numbers plain, files in angle brackets, "id=" before it where the parameter has one, "@" and the
// sub-kind in hexadecimal behind a host. E.g. `modify_schedule no/999 "nightly" "backup"`.
extern std::vector<std::string> calls;

extern std::map<std::string, int> statuses;  // of the handlers by name; 0 where there is none

extern std::map<std::string, std::string> messages;  // that the handlers write to standard error

extern std::string shown_log;  // what the library's display of the job log prints

// The last call's context.
extern std::string user_name, peer_name;
extern unsigned shell_handle, debug;

extern host::Bytes control_reply;
extern uint32_t control_status;
extern std::map<control::Operation, uint32_t> control_statuses;                  // of these operations instead
extern std::map<control::Operation, host::Bytes> control_replies;                // likewise
extern std::map<control::Operation, std::vector<std::string>> control_payloads;  // of all that came

// What the service shows, by "job NAME" or "schedule NAME": nothing for an object that is not there. Questions about
// others get no answer.
extern std::map<std::string, host::Bytes> objects, objects_then;  // then: from the second question on

host::Bytes bytes_of(std::string_view text);
host::Bytes job_with(const std::string &text);  // an object
host::Bytes schedule_with(const sch_tminfo &time);
sch_tminfo daily(int hour, int minute);

void reset();

}  // namespace recorder
