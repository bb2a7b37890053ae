// SPDX-License-Identifier: Apache-2.0
#include "service/standby.h"

#include "control/statuses.h"
#include "host/files/paths.h"
#include "host/status.h"
#include "host/store/store.h"
#include "host/sysmgr.h"
#include "schedcli.h"
#include "service/metrics/metrics.h"
#include "service/request/answer.h"
#include "service/request/payload.h"
#include "service/request/shown.h"
#include "service/request/status.h"

namespace service {
namespace {

void close_store(pss_handle *store) {
  if (*store != 0) pss_close(*store);
  *store = 0;
}

}  // namespace

Standby::Standby(const host::User &user, time_t started)
    : authority_(host::paths().system_wide, {user.uid, user.name}), started_(started) {}

Standby::~Standby() {
  close_store(&pss_running);
  close_store(&pss_running_db);
}

host::Result<void> Standby::open() {
  if (host::Result<void> prepared = host::sysmgr_prepare(host::BootFrom::running); !prepared) return prepared;
  sch_pss_uri_init();
  if (sch_standby_pss_init() == 0) return {};
  return host::Error{control::err_not_stored, "stores: " + host::store_last_error()};
}

host::Answer Standby::answer_as_json(const host::Incoming &incoming, Payload payload, const Settings &settings) const {
  const bool of_status = payload.size() == sizeof(control::Operation) &&
                         record_of<control::Operation>(payload) == control::Operation::status;
  return of_status ? standby_status_document(settings, started_, authority_.administrator(incoming.caller))
                   : with_status(control::err_standby);
}

host::Answer Standby::answer(const host::Incoming &incoming, const Settings &settings) const {
  if (incoming.service != host::service_control || incoming.body.size() < sizeof(uint32_t))
    return with_status(control::err_standby);
  const Payload payload = Payload(incoming.body).subspan(sizeof(uint32_t));
  switch (static_cast<control::Operation>(record_of<uint32_t>(incoming.body))) {
    case control::Operation::as_json:
      return answer_as_json(incoming, payload, settings);
    case control::Operation::status:
      return show_standby_status(settings, started_, authority_.administrator(incoming.caller));
    case control::Operation::metrics:
      return show_standby_metrics(started_);
    case control::Operation::get_zone:
      return zone_in_use();
    default:
      return with_status(control::err_standby);
  }
}

}  // namespace service
