// SPDX-License-Identifier: Apache-2.0
// The sealed passwords as part of a configuration's text. They lie in a file of their own, and the kept configurations
// have none: a return must not bring back a password that was removed.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "service/configuration/text.h"

namespace service {

using MayUsePassword = std::function<bool(const std::string &user)>;

// The passwords that the caller may see.
host::Result<host::SealedPasswords> stored_passwords(const MayUsePassword &may_use);

// What keeps one of these from being stored: it is another user's, or does not open under this service's key.
std::vector<LineProblem> objections_to(const std::vector<PasswordLine> &wanted, const host::SealedPasswords &stored,
                                       const MayUsePassword &may_use);

host::SealedPasswords with_wanted(host::SealedPasswords stored, const std::vector<PasswordLine> &wanted);

// Stores these passwords in addition to the others.
host::Result<void> store_passwords(const std::vector<PasswordLine> &wanted);

// Passwords that are to be stored with the change that becomes entry `number` of the history: noted before it is
// committed, so that a crash behind the commit leaves both or neither.
host::Result<void> note_passwords(uint32_t number, const std::vector<PasswordLine> &wanted);
void forget_passwords(uint32_t number);

// At the service's start, after settle_history(): stores or discards what a crash has left.
void settle_passwords();

}  // namespace service
