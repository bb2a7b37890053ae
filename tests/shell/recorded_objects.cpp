// SPDX-License-Identifier: Apache-2.0
// What the service shows of jobs and schedules.
#include <cstdlib>
#include <cstring>
#include <span>

#include "host/status.h"
#include "platform/cmi.h"
#include "schedcli_requests.h"
#include "tests/shell/recorder.h"

namespace recorder {

std::map<std::string, host::Bytes> objects, objects_then;

host::Bytes bytes_of(std::string_view text) {
  const auto bytes = std::as_bytes(std::span(text));
  return {bytes.begin(), bytes.end()};
}

host::Bytes job_with(const std::string &text) {
  sch_show_job_reply shown = {};
  shown.length = static_cast<int32_t>(text.size());
  host::Bytes object = bytes_of({reinterpret_cast<const char *>(&shown), sizeof shown});
  const host::Bytes behind = bytes_of(text);
  object.insert(object.end(), behind.begin(), behind.end());
  return object;
}

host::Bytes schedule_with(const sch_tminfo &time) {
  sch_show_schedule_reply shown = {};
  shown.time = time;
  return bytes_of({reinterpret_cast<const char *>(&shown), sizeof shown});
}

sch_tminfo daily(int hour, int minute) {
  sch_tminfo time = {};
  time.type = SCH_SCHEDULE_DAILY;
  time.hour = hour;
  time.minute = minute;
  return time;
}

}  // namespace recorder

extern "C" {

uint32_t cmi_req_resp(uint32_t service, uint32_t message_class, void *request, void **reply, uint32_t *length,
                      const char *user_name, const char *peer_name, uint32_t constant_136, uint32_t, uint32_t) {
  struct {
    sch_request_header header;
    sch_show_request body;
  } asked = {};
  if (service != SCH_SERVICE_SHOW || message_class != SCH_CLASS_SHOW || constant_136 != 136 || *length != sizeof asked)
    return host::err_bad_request;
  std::memcpy(&asked, request, sizeof asked);
  if (asked.header.payload_length != sizeof asked.body || asked.body.cursor != SCH_CURSOR_FIRST)
    return host::err_bad_request;
  recorder::user_name = user_name;
  recorder::peer_name = peer_name;
  const char *kind = asked.header.opcode == SCH_OP_SHOW_JOB ? "job " : "schedule ";
  const std::string name = kind + std::string(asked.body.name);
  if (!recorder::objects.contains(name)) return host::err_not_running;
  const host::Bytes object = recorder::objects[name];
  if (auto then = recorder::objects_then.extract(name)) recorder::objects[name] = std::move(then.mapped());
  *length = static_cast<uint32_t>(object.size());
  if (object.empty()) return 0;
  *reply = std::malloc(object.size());
  std::memcpy(*reply, object.data(), object.size());
  return 0;
}

}  // extern "C"
