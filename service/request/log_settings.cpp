// SPDX-License-Identifier: Apache-2.0
#include "service/request/log_settings.h"

#include <unistd.h>

#include <cstring>

#include "control/statuses.h"
#include "host/files/uri.h"
#include "host/status.h"
#include "host/text_field.h"
#include "service/joblog/joblog.h"
#include "service/request/answer.h"
#include "service/state/change.h"

namespace service {
namespace {

// In this order: the new file under a draft's name, the settings in the store, the file under its name. After a crash
// in between, JobLog::open() completes it.
uint32_t replace_log(JobLog &log, const sch_log_file_rec &wanted, JobLog::Keep keep) {
  const host::Result<JobLog::Draft> draft = log.prepare(wanted, keep);
  if (!draft) {
    sch_syslog_raise(&syslog_msg_SCH_SYSLOG_FILE_ERR, "Job log", draft.error().text.c_str());
    return draft.code();
  }
  ConfigChange change;
  change.require(sch_save_log_file_entry_to_pss(pss_running, &sch_log_file_key, &draft->settings));
  const uint32_t status = change.commit();
  if (status == 0)
    log.adopt(*draft);
  else
    log.discard(*draft);
  return status;
}

// The client has sent the URI and the path that it maps to. It is mapped again here, so that no other path is accepted.
bool is_usable_name(const LogRequest &request) {
  if (request.uri == SCH_LOG_URI_DEFAULT) return request.name == SCH_LOG_NAME_DEFAULT;
  const host::Result<host::FileUri> uri = host::parse_file_uri(request.uri);
  return uri && host::file_uri_path(*uri) == request.name;
}

}  // namespace

uint32_t resize_log(const Call &call, const LogRequest &request) {
  if (request.size > static_cast<uint32_t>(call.context.settings->log_size_kib) * 1024)
    return control::err_log_too_large;
  sch_log_file_rec wanted = sch_log_file;
  wanted.size = static_cast<int32_t>(request.size);
  return replace_log(call.context.log, wanted, JobLog::Keep::records);
}

uint32_t rename_log(const Call &call, const LogRequest &request) {
  if (!is_usable_name(request)) return host::err_bad_value;
  sch_log_file_rec wanted = sch_log_file;
  std::memset(wanted.name, 0, sizeof wanted.name);
  std::memset(wanted.uri, 0, sizeof wanted.uri);
  host::put_text(request.name, wanted.name);
  host::put_text(request.uri, wanted.uri);
  const std::string path = log_path(wanted);
  if (path == log_path(sch_log_file)) return 0;
  if (access(path.c_str(), F_OK) == 0) return SCH_STATUS_EXISTS;
  return replace_log(call.context.log, wanted, JobLog::Keep::records);
}

uint32_t clear_log(const Call &call) {
  return replace_log(call.context.log, sch_log_file, JobLog::Keep::nothing);
}

host::Answer show_log_config(const Call &) {
  host::Bytes reply;
  append_record(&reply, sch_log_file.size);
  return with_reply(std::move(reply));
}

}  // namespace service
