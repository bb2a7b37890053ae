// SPDX-License-Identifier: Apache-2.0
#include "service/mail/message.h"

#include <glib.h>

#include <algorithm>
#include <cstring>
#include <memory>

namespace service {
namespace {

// All parts are base64, in which "=_" cannot occur: no output can contain the boundary.
constexpr char boundary[] = "=_schedcli_part";
constexpr size_t line_bytes = 57;  // 76 characters of base64

// For texts in headers: replaces every character that could end the header or begin another one.
std::string in_header(std::string_view text) {
  std::string plain(text);
  std::replace_if(
      plain.begin(), plain.end(), [](char c) { return c < ' ' || c > '~'; }, '?');
  return plain;
}

// For a value between quotes there.
std::string quoted(std::string_view text) {
  std::string plain = in_header(text);
  std::replace_if(
      plain.begin(), plain.end(), [](char c) { return c == '"' || c == '\\'; }, '?');
  return '"' + plain + '"';
}

std::string date_text(time_t now) {
  tm fields = {};
  char text[64];
  gmtime_r(&now, &fields);
  return {text, std::strftime(text, sizeof text, "%a, %d %b %Y %H:%M:%S +0000", &fields)};
}

void append_base64(std::string *message, std::string_view bytes) {
  for (; !bytes.empty(); bytes.remove_prefix(std::min(bytes.size(), line_bytes))) {
    const std::string_view line = bytes.substr(0, line_bytes);
    const std::unique_ptr<gchar, void (*)(gpointer)> encoded(
        g_base64_encode(reinterpret_cast<const guchar *>(line.data()), line.size()), g_free);
    *message += encoded.get();
    *message += "\r\n";
  }
}

void append_part(std::string *message, const std::string &name, std::string_view text) {
  *message += std::string("--") + boundary + "\r\n";
  const std::string file = name.empty() ? "" : "name=" + quoted(name + ".txt");
  *message += "Content-Type: text/plain; charset=utf-8" + (file.empty() ? "" : "; " + file) + "\r\n";
  *message += "Content-Disposition: inline" + (file.empty() ? "" : "; file" + file) + "\r\n";
  *message += "Content-Transfer-Encoding: base64\r\n\r\n";
  append_base64(message, text);
}

std::string due_words(const MailReport &report) {
  return report.due.empty() ? "on request" : "due " + report.due;
}

std::string summary(const MailReport &report, const MailSettings &settings) {
  std::string text = "Schedule " + report.schedule + " of user " + report.owner + " on " + settings.host + "\n" +
                     "Run " + std::to_string(report.run) + ", " + due_words(report) + "\n\n";
  for (const MailPart &part : report.parts)
    text += (part.job.empty() ? "The run" : "Job " + part.job) + ": " + part.outcome + "\n";
  return text;
}

}  // namespace

bool is_mail_address(std::string_view text) {
  constexpr std::string_view marks =
      "!#$%&'*+-/=?^_`{|}~.@[]:";  // the last three are of a host's number: a@[192.0.2.1]
  return !text.empty() && std::all_of(text.begin(), text.end(),
                                      [&](char c) { return g_ascii_isalnum(c) || marks.find(c) != marks.npos; });
}

std::string compose_mail(const MailReport &report, const MailSettings &settings, const std::string &to, time_t now) {
  const std::string host = in_header(settings.host);
  const std::string run = std::to_string(report.run);
  std::string message;
  message += "From: <" + settings.from + ">\r\n";
  message += "To: <" + to + ">\r\n";
  if (is_mail_address(settings.reply_to)) message += "Reply-To: <" + settings.reply_to + ">\r\n";
  message += "Subject: " + in_header(report.schedule) + ": " + (report.failed ? "failure" : "success") + ", " +
             in_header(due_words(report)) + ", run " + run + " on " + host + "\r\n";
  message += "Date: " + date_text(now) + "\r\n";
  message += "Message-ID: <run-" + run + "." + std::to_string(now) + "." + std::to_string(g_random_int()) + "@" +
             (is_mail_address(host) ? host : "localhost") + ">\r\n";
  message += "Auto-Submitted: auto-generated\r\n";
  message += "MIME-Version: 1.0\r\n";
  message += std::string("Content-Type: multipart/mixed; boundary=\"") + boundary + "\"\r\n\r\n";
  append_part(&message, "", summary(report, settings));
  for (const MailPart &part : report.parts)
    if (!part.output.empty()) append_part(&message, part.job, part.output);
  message += std::string("--") + boundary + "--\r\n";
  return message;
}

}  // namespace service
