// SPDX-License-Identifier: Apache-2.0
// What a client sees of a service's configuration, as single facts.
#pragma once

#include <optional>
#include <set>
#include <string>

#include "tests/system/oracle/client.h"

namespace oracle {

// A job with its text, a schedule, each line of it, each setting; what is saved for the start the same, behind a word.
using Facts = std::set<std::string>;

inline constexpr char of_startup[] = "startup: ", feature_is_on[] = "feature scheduler",
                      awaits_confirmation[] = "a confirmation is awaited";

std::string job_fact(const std::string &name, const std::string &text);
std::string schedule_fact(const std::string &name);
std::string schedule_fact(const std::string &name, const std::string &line);
std::string password_fact(const std::string &user, const std::string &clear);

Facts facts_in(const std::string &configuration);
std::optional<Facts> see_facts(Client &client);  // nothing, when the service has gone

bool is_switched_on(const Facts &facts, const std::string &schedule);

}  // namespace oracle
