// SPDX-License-Identifier: Apache-2.0
// The operations of host::service_control: what the shell asks of the scheduler service beyond the requests of the
// library's handlers.
#pragma once

#include <cstdint>
#include <span>

#include "host/transport/transport.h"

namespace control {

constexpr uint32_t number_of(host::HostOperation operation) {
  return static_cast<uint32_t>(operation);
}

enum class Operation : uint32_t {
  enable_feature = number_of(host::HostOperation::enable_feature),
  disable_feature = number_of(host::HostOperation::disable_feature),
  memory_statistics = number_of(host::HostOperation::memory_statistics),
  security_read = number_of(host::HostOperation::security_read),
  security_store = number_of(host::HostOperation::security_store),
  security_remove = number_of(host::HostOperation::security_remove),
  security_authenticate = number_of(host::HostOperation::security_authenticate),
  history = 11,       // reply: text, the debug history
  running_text = 20,  // reply: the running configuration as text
  startup_text = 21,
  copy_running_startup = 22,
  set_logging_level = 23,  // payload: i32 level 0..7
  get_logging_level = 24,  // reply: i32
  get_zone = 25,           // reply: i32, the present offset in seconds to the east, then the zone's name
  status = 26,             // reply: text, the service's status with the caller's share; for root with all shares
  take_over = 27,          // for a service in standby, which is active when it answers
  show_history = 40,       // payload: HistoryQuery and a schedule's name; reply: text
  show_upcoming = 41,      // payload: UpcomingQuery and a schedule's name; reply: text
  run_schedule = 42,       // payload: its name; reply: u64, the run's number
  kill_run = 43,           // payload: u64, the run's number
  enable_schedule = 44,    // payload: its name
  disable_schedule = 45,
  find = 46,      // payload: u32 ObjectKind and a name; status 0: it exists and the caller may use it; reply for a job:
                  // the names of the schedules that use it, one a line
  names = 47,     // payload: u32 ObjectKind and a prefix; reply: names, one a line
  log_uri = 48,   // reply: text, the URI of the job log's file; SCH_LOG_URI_DEFAULT: the default file
  rename = 49,    // payload: u32 ObjectKind, then the old name and the new one with a NUL between
  overview = 50,  // reply: text, a line for each schedule
  explain_time = 51,  // payload: a schedule's name; reply: text, how its time was understood and when it is due next
  show_log = 52,      // payload: LogQuery; reply: the stream of SCH_OP_SHOW_LOG
  raw_output = 53,    // payload: u64, a run's number, or 0 for the whole log; reply: outputs byte for byte
  put_configuration = 60,      // payload: u32, 0 for a new text, and a piece of it; reply: u32, the text's number
  apply_configuration = 61,    // control/configuration.h
  configuration_entry = 62,    // payload: u32, its number in the history; reply: text
  configuration_history = 63,  // reply: text
  confirm_configuration = 64,
  erase_startup = 65,
  as_json = 70,    // payload: u32, an operation that shows something, and its payload; reply: the same as a document
                   // of the module yang/schedcli.yang. Its rights are those of the operation
  jobs = 71,       // as JSON alone, as are those below; payload: a job's name, or nothing for all
  schedules = 72,  // payload: a schedule's name, or nothing for all
  scheduler_config = 73,          // the caller's configuration, and the settings that everybody may see
  configuration_difference = 74,  // payload: DifferenceQuery
  version = 75,
  metrics = 76,  // reply: text, as monitoring systems read it
  limits = 77,   // reply: ConfiguredLimits
};

// Kinds of objects that have names.
enum class ObjectKind : uint32_t { job = 1, schedule = 2, user = 3 };
inline constexpr size_t names_limit = 1000;  // of one reply

// Which runs of the caller's schedules (for root of all schedules) to show; followed by a schedule's name, or nothing
// for all of them.
struct HistoryQuery {
  uint64_t run;          // not 0: only this run, with its jobs; the other fields are ignored
  uint32_t count;        // of lines, the newest first; 0: the default number
  uint32_t failed_only;  // 1: only runs that ended without success
  int64_t since = 0;     // only runs that were due, or were started by an operator, then or later
  char job[32] = {};     // runs with this job; empty: all
};

// Which outcomes of the job log to show. A field that is 0 or empty does not restrict them.
struct LogQuery {
  uint64_t run;
  uint32_t count;  // only the newest so many
  uint32_t failed_only;
  int64_t since;  // completed then or later
  char schedule[32];
  char job[32];
};

// Of two configurations: an entry's number in the history, or one of these.
inline constexpr uint32_t running_configuration_number = 0, startup_configuration_number = 0xffffffff;
struct DifferenceQuery {
  uint32_t before, after;
};

struct UpcomingQuery {
  uint32_t count;  // of lines; 0: the default number
};
inline constexpr uint32_t query_lines_limit = 1000;  // so that the text stays well below host::control_reply_limit

inline host::Result<host::Bytes> ask_service(Operation operation, std::span<const std::byte> payload = {}) {
  return host::control_request(static_cast<uint32_t>(operation), payload);
}

}  // namespace control
