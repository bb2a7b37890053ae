// SPDX-License-Identifier: Apache-2.0
// What the show commands show, as documents: each answers the operation that shows the same to people, or one that is
// asked for as a document alone.
#pragma once

#include "service/request/context.h"

namespace service {

host::Answer status_document(const Call &call, Payload payload);
host::Answer standby_status_document(const Settings &settings, time_t started, bool administrator);
host::Answer version_document(const Call &call, Payload payload);
host::Answer clock_document(const Call &call, Payload payload);
host::Answer logging_document(const Call &call, Payload payload);
host::Answer memory_document(const Call &call, Payload payload);
host::Answer debug_history_document(const Call &call, Payload payload);

host::Answer overview_document(const Call &call, Payload payload);
host::Answer upcoming_document(const Call &call, Payload payload);
host::Answer schedules_document(const Call &call, Payload payload);
host::Answer jobs_document(const Call &call, Payload payload);

host::Answer history_document(const Call &call, Payload payload);
host::Answer log_document(const Call &call, Payload payload);

host::Answer running_document(const Call &call, Payload payload);
host::Answer startup_document(const Call &call, Payload payload);
host::Answer scheduler_config_document(const Call &call, Payload payload);
host::Answer configuration_history_document(const Call &call, Payload payload);
host::Answer difference_document(const Call &call, Payload payload);

}  // namespace service
