// SPDX-License-Identifier: Apache-2.0
// Payloads of requests, as they travel.
#pragma once

#include <ctime>
#include <string>

#include "schedcli_requests.h"

namespace oracle {

std::string named(const std::string &name, bool negate = false);
std::string job_text(const std::string &name, const std::string &text, bool negate = false);
std::string assignment(const std::string &schedule, const std::string &job, bool negate = false);
std::string no_time(const std::string &schedule);
std::string each_minute(const std::string &schedule, time_t first);
std::string each_day(const std::string &schedule, int hour, int minute);
std::string address_of(const std::string &schedule, const std::string &address, bool add);
std::string log_size(uint32_t kilobytes);
std::string log_name(const std::string &uri, const std::string &path);
std::string mail_from(const std::string &address);
std::string mail_reply_to(const std::string &address);
std::string mail_server(const std::string &host, uint32_t port);
std::string password(const std::string &user, const std::string &clear);

// Of the whole configuration: an entry of its history, the one saved for the start, or a text that was sent.
std::string replacement_by_entry(uint32_t number);
std::string replacement_by_startup();
std::string replacement_by_text(uint32_t number, uint32_t confirm_minutes = 0);
std::string replacement_on_top(uint32_t number);  // what the text does not name stays

}  // namespace oracle
