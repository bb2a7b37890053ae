// SPDX-License-Identifier: Apache-2.0
// The e-mail transport and the addresses of each schedule.
#pragma once

#include <string>

#include "service/request/context.h"
#include "service/state/change.h"

namespace service {

uint32_t set_email_from(const Call &call, const TransportRequest &request);
uint32_t clear_email_from(const Call &call);
uint32_t set_email_replyto(const Call &call, const TransportRequest &request);
uint32_t clear_email_replyto(const Call &call);
uint32_t set_email_smtp(const Call &call, const TransportRequest &request);
uint32_t clear_email_smtp(const Call &call);
uint32_t modify_address(const Call &call, const AddressRequest &request);

host::Answer show_email_config(const Call &call);

// As a part of `change`, for a schedule that is deleted.
void delete_addresses(ConfigChange &change, const std::string &schedule);

}  // namespace service
