// SPDX-License-Identifier: Apache-2.0
#include "service/configuration/text.h"

#include <algorithm>

namespace service {
namespace {

std::string settings_text(const GlobalSettings &settings) {
  std::string text;
  if (settings.log_kilobytes != SCH_LOG_SIZE_DEFAULT / SCH_LOG_SIZE_UNIT)
    text += "scheduler logfile size " + std::to_string(settings.log_kilobytes) + "\n\n";
  if (!settings.log_uri.empty()) text += "scheduler logfile name " + settings.log_uri + "\n\n";
  if (!settings.mail_from.empty()) text += "scheduler transport email from " + settings.mail_from + "\n";
  if (!settings.mail_reply_to.empty()) text += "scheduler transport email reply-to " + settings.mail_reply_to + "\n";
  return text;
}

// The layout of the library's text: two blanks before the server if the port is the default.
std::string server_text(const MailServer &server) {
  if (server.host.empty()) return {};
  const bool usual = server.port == SCH_SMTP_PORT_DEFAULT;
  std::string text = "scheduler transport email smtp-server " + std::string(usual ? " " : "") + server.host;
  if (!usual) text += " port " + std::to_string(server.port);
  if (!server.vrf.empty() && server.vrf != SCH_SMTP_VRF_DEFAULT) text += " vrf " + server.vrf;
  return text + "\n";
}

std::string passwords_text(const host::SealedPasswords &passwords) {
  std::string text;
  for (const auto &[user, sealed] : passwords)
    text.append("scheduler aaa-authentication username ")
        .append(user)
        .append(" password 7 ")
        .append(sealed)
        .append("\n");
  return text;
}

std::string owner_text(const OwnerName &owner, Owners owners) {
  if (owners == Owners::omitted || owner.tag == 0) return {};
  return "! owner: " + std::to_string(owner.tag - 1) + " " + owner.name + "\n";
}

void append(const JobBlock &job, Owners owners, std::string *text) {
  *text += owner_text(job.owner, owners) + "scheduler job name " + job.name + "\n" + job.text + "end-job\n\n";
}

// The layout of the library's text: a schedule without a time has a line of two blanks.
void append(const ScheduleBlock &schedule, Owners owners, std::string *text) {
  *text += owner_text(schedule.owner, owners) + "scheduler schedule name " + schedule.name + "\n";
  for (const std::string &job : schedule.jobs)
    *text += " job name " + job + "\n";
  *text += schedule.time.empty() ? "  " : "  time " + schedule.time + "\n";
  for (const std::string &address : schedule.addresses)
    *text += "email-addr " + address + "\n";
  if (!schedule.enabled) *text += "scheduler disable schedule " + schedule.name + "\n";
  *text += "\n";
}

void append_blocks(const Configuration &configuration, Owners owners, std::string *text) {
  for (const JobBlock &job : configuration.jobs)
    append(job, owners, text);
  for (const ScheduleBlock &schedule : configuration.schedules)
    append(schedule, owners, text);
}

// While the feature is disabled commands are refused: so the text enables it first and disables it at the end.
std::string with_feature(const std::optional<bool> &feature, const std::string &text) {
  if (!feature) return text;
  if (*feature) return "feature scheduler\n" + text;
  return (text.empty() ? "" : "feature scheduler\n" + text) + "no feature scheduler\n";
}

}  // namespace

std::string text_of(const Configuration &configuration, Owners owners) {
  const GlobalSettings &settings = configuration.settings;
  std::string text =
      settings_text(settings) + server_text(settings.mail_server) + passwords_text(configuration.passwords);
  append_blocks(configuration, owners, &text);
  if (settings.logging_level != usual_logging_level)
    text += "logging level scheduler " + std::to_string(settings.logging_level) + "\n";
  return with_feature(settings.feature, text);
}

}  // namespace service
