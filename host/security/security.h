// SPDX-License-Identifier: Apache-2.0
// Users, sealed scheduler passwords and authentication, as the service uses them directly; platform/security.h sits on
// these.
#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <string>

#include "host/security/users.h"
#include "host/transport/transport.h"
#include "schedcli.h"

namespace host {

// Scheduler passwords. One process of the host, the service, holds the key and the sealed passwords (files of 0600
// below the state directory, `security.key` and `passwords`); the platform's calls in it work on these. In every other
// process they ask the service, so that a clear password crosses the socket once, when it is set, and never comes back:
// what security_conf_decrypt hands out is the sealed text itself, and aaa_scheduler_authenticate sends that to the
// service, which opens it and runs PAM under the service name "schedcli".
uint32_t security_become_service();  // makes the key at first use; a line in the system log says what is wrong
bool security_is_service();

uint32_t security_read(const std::string &user, sch_security_user_rec *record);  // form 7; SCH_STATUS_NO_PASSWORD
uint32_t security_store(const sch_security_user_rec &record);  // form 0 is sealed; form 7 must open for this very user
uint32_t security_remove(const std::string &user);             // SCH_STATUS_NO_PASSWORD when there is none

// 0: accepted; SCH_STATUS_AUTHENTICATION_FAILED, or err_timed_out after 10 seconds. Waits for PAM, which may ask a
// server; security_authenticate_later does not: the server's clients are served meanwhile.
uint32_t security_authenticate(const std::string &user, const std::string &sealed);
Answer security_authenticate_later(const std::string &user, const std::string &sealed);

// Answers a request HostOperation::security_*, where its caller may use the record of that user.
using MayUse = std::function<bool(const std::string &user)>;
Answer answer_security_request(uint32_t operation, std::span<const std::byte> payload, const MayUse &may_use);

}  // namespace host
