// SPDX-License-Identifier: Apache-2.0
// The configuration as the command text that recreates it.
#include "acfg/line.h"
#include "acfg/logging_level.h"

namespace {

using acfg::add_line;
using acfg::element_scheduler;
using acfg::Indent;

struct Element {
  uint32_t number;
  uint32_t priority;
};
constexpr Element elements[] = {{acfg::element_scheduler, 12}, {acfg::element_feature, 2}, {acfg::element_logging, 3}};

void add_log_file(acfg_hdl *handle) {
  if (sch_log_file.size == SCH_LOG_SIZE_DEFAULT) return;
  add_line(handle, element_scheduler, Indent::none, "scheduler logfile size %d\n\n",
           sch_log_file.size / SCH_LOG_SIZE_UNIT);
}

void add_smtp_server(acfg_hdl *handle, const sch_smtp_server_rec &smtp) {
  const int port = static_cast<int>(smtp.port);
  if (smtp.server[0] == '\0') return;
  if (port == SCH_SMTP_PORT_DEFAULT) {
    // The two blanks before the server are meant.
    add_line(handle, element_scheduler, Indent::none, "scheduler transport email smtp-server  %.256s\n", smtp.server);
  } else {
    add_line(handle, element_scheduler, Indent::none, "scheduler transport email smtp-server %.256s port %d\n",
             smtp.server, port);
  }
}

void add_transport(acfg_hdl *handle, const sch_email_transport &conf) {
  if (conf.from[0] != '\0') {
    add_line(handle, element_scheduler, Indent::none, "scheduler transport email from %.64s\n", conf.from);
  }
  if (conf.reply_to[0] != '\0') {
    add_line(handle, element_scheduler, Indent::none, "scheduler transport email reply-to %.64s\n", conf.reply_to);
  }
  add_smtp_server(handle, conf.smtp);
}

}  // namespace

int sch_acfg_gen(sch_config_db *config, acfg_hdl *handle, pss_handle debug_store) {
  for (const Element &element : elements)
    acfg_elem_add(handle, acfg::owner, element.number, element.priority);
  if (debug_store != 0) acfg::add_logging_level(handle, debug_store);
  add_line(handle, acfg::element_feature, Indent::none, "feature scheduler\n");  // whatever scheduler_enabled is
  add_log_file(handle);
  add_transport(handle, email_transport_conf);
  sch_acfg_job_cfg_gen(config, handle);
  sch_acfg_schedule_cfg_gen(config, handle);
  return 0;
}
