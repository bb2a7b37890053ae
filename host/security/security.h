// SPDX-License-Identifier: Apache-2.0
// Users, sealed scheduler passwords and authentication, as the service uses them. platform/security.h is built on
// these.
#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <string>

#include "host/result.h"
#include "host/security/users.h"
#include "host/transport/transport.h"
#include "schedcli.h"

namespace host {

// Scheduler passwords. One process of the host, the service, holds the key and the sealed passwords (files of 0600
// below the state directory, `security.key` and `passwords`); the platform's calls in it work on these. In every other
// process they ask the service, so that a clear password crosses the socket once, when it is set, and never comes back:
// what security_conf_decrypt hands out is the sealed text itself, and aaa_scheduler_authenticate sends that to the
// service, which opens it and runs PAM under the service name "schedcli".
Result<void> security_become_service();  // creates the key when there is none
bool security_is_service();

// Problems with the files are also reported to the system log: the caller may not be the one who can mend them.
Result<sch_security_user_rec> security_read(const std::string &user);  // form 7; SCH_STATUS_NO_PASSWORD when none
Result<void> security_store(const sch_security_user_rec &record);  // form 0 is sealed; form 7 must open for this user
Result<void> security_remove(const std::string &user);             // SCH_STATUS_NO_PASSWORD when there is none

// Success: the password was accepted; otherwise SCH_STATUS_AUTHENTICATION_FAILED, or err_timed_out after 10 seconds.
// security_authenticate waits for PAM, which may ask a server. security_authenticate_later returns at once with a
// pending answer, so that other clients are served meanwhile.
Result<void> security_authenticate(const std::string &user, const std::string &sealed);
Answer security_authenticate_later(const std::string &user, const std::string &sealed);

// Answers one of the requests HostOperation::security_*. `may_use` says whether the caller may use a user's record.
using MayUse = std::function<bool(const std::string &user)>;
Answer answer_security_request(uint32_t operation, std::span<const std::byte> payload, const MayUse &may_use);

}  // namespace host
