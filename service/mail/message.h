// SPDX-License-Identifier: Apache-2.0
// The report of a run as a mail message.
#pragma once

#include <cstdint>
#include <ctime>
#include <string>
#include <string_view>
#include <vector>

namespace service {

struct MailPart {
  std::string job;
  std::string outcome;  // in words
  std::string output;   // as the job printed it, any bytes
};

struct MailReport {
  std::string schedule, owner;
  uint64_t run = 0;
  uint32_t number = 0;  // of the owed report (service/run/owed_reports.h); 0: none
  bool failed = false;
  std::string due;  // in the service's zone, as text; empty: an operator started the run
  std::vector<MailPart> parts;
};

struct MailSettings {
  std::string from, reply_to;
  std::string host;  // this machine's name
};

// Whether SMTP accepts the address without quoting; then nothing in it can end a header or a command.
bool is_mail_address(std::string_view text);

// The whole message with CRLF lines: headers, a summary, and one part for each job's output. `now` dates it.
std::string compose_mail(const MailReport &report, const MailSettings &settings, const std::string &to, time_t now);

}  // namespace service
