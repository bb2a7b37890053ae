// SPDX-License-Identifier: Apache-2.0
#include "service/run/outcome_report.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <syslog.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <string_view>

#include "host/files/file_descriptor.h"
#include "platform/syslog.h"

namespace service {
namespace {

constexpr char usual_journal[] = "/run/systemd/journal/socket";
constexpr char journal_directory[] = "/run/systemd/journal/";

std::string &journal_socket() {
  static auto &path = *new std::string(usual_journal);
  return path;
}

bool is_plain(char c) {
  return c > ' ' && c < 0x7f && c != '"' && c != '\\' && c != '=';
}

std::string escaped(char c) {
  if (c == '"' || c == '\\') return {'\\', c};
  const auto byte = static_cast<unsigned char>(c);
  if (byte >= ' ' && byte != 0x7f) return {c};
  constexpr char digits[] = "0123456789abcdef";
  return {'\\', 'x', digits[byte >> 4], digits[byte & 15]};
}

std::string value_text(std::string_view value) {
  if (!value.empty() && std::all_of(value.begin(), value.end(), is_plain)) return std::string(value);
  std::string text = "\"";
  for (const char c : value)
    text += escaped(c);
  return text + '"';
}

void append_field(std::string *line, const char *name, std::string_view value) {
  if (!line->empty()) *line += ' ';
  *line += std::string(name) + '=' + value_text(value);
}

int priority(const OutcomeReport &report) {
  return report.outcome == "success" ? LOG_INFO : LOG_WARNING;
}

// The journal's native protocol: a value with a newline is preceded by its length and may then contain anything.
void append_native(std::string *datagram, const char *name, const std::string &value) {
  if (value.find('\n') == std::string::npos) {
    *datagram += std::string(name) + '=' + value + '\n';
    return;
  }
  *datagram += std::string(name) + '\n';
  const uint64_t size = value.size();
  for (unsigned shift = 0; shift < 64; shift += 8)
    *datagram += static_cast<char>(size >> shift & 0xff);
  *datagram += value + '\n';
}

std::string native_form(const OutcomeReport &report) {
  std::string datagram;
  append_native(&datagram, "MESSAGE", outcome_line(report));
  append_native(&datagram, "PRIORITY", std::to_string(priority(report)));
  append_native(&datagram, "SYSLOG_IDENTIFIER", "schedd");
  append_native(&datagram, "SYSLOG_FACILITY", std::to_string(LOG_FAC(LOG_DAEMON)));
  append_native(&datagram, "SCHEDCLI_SCHEDULE", report.schedule);
  append_native(&datagram, "SCHEDCLI_JOB", report.job);
  append_native(&datagram, "SCHEDCLI_RUN", std::to_string(report.run));
  append_native(&datagram, "SCHEDCLI_OUTCOME", report.outcome);
  append_native(&datagram, "SCHEDCLI_STATUS", std::to_string(report.status));
  append_native(&datagram, "SCHEDCLI_OWNER", report.owner);
  append_native(&datagram, "SCHEDCLI_DUE", std::to_string(report.due));
  append_native(&datagram, "SCHEDCLI_LATENESS_MS", std::to_string(report.lateness_ms));
  return datagram;
}

// Does not block: if the journal's socket is full the report is dropped.
bool send_to_journal(const std::string &datagram) {
  const std::string &path = journal_socket();
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  if (path.empty() || path.size() >= sizeof address.sun_path) return false;
  std::memcpy(address.sun_path, path.c_str(), path.size());
  const host::FileDescriptor socket(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  return socket && sendto(socket.get(), datagram.data(), datagram.size(), MSG_NOSIGNAL,
                          reinterpret_cast<const sockaddr *>(&address), sizeof address) >= 0;
}

// If so, the outcome is not sent to the system log as well, or the journal would have it twice.
bool system_log_is_the_journal() {
  std::error_code error;
  const std::filesystem::path log = std::filesystem::canonical("/dev/log", error);
  return !error && log.string().starts_with(journal_directory);
}

}  // namespace

std::string outcome_line(const OutcomeReport &report) {
  std::string line;
  append_field(&line, "schedule", report.schedule);
  if (!report.job.empty()) append_field(&line, "job", report.job);
  append_field(&line, "run", std::to_string(report.run));
  append_field(&line, "outcome", report.outcome);
  append_field(&line, "status", std::to_string(report.status));
  append_field(&line, "owner", report.owner);
  append_field(&line, "due", std::to_string(report.due));
  append_field(&line, "lateness_ms", std::to_string(report.lateness_ms));
  if (report.duration_ms >= 0) append_field(&line, "duration_ms", std::to_string(report.duration_ms));
  append_field(&line, "output_bytes", std::to_string(report.output_bytes));
  if (!report.remark.empty()) append_field(&line, "remark", report.remark);
  return line;
}

void report_outcome(const OutcomeReport &report) {
  const bool in_the_journal = send_to_journal(native_form(report));
  if (!in_the_journal || !system_log_is_the_journal())
    tarn_syslog(priority(report), "%s", outcome_line(report).c_str());
}

void set_journal_socket(std::string path) {
  journal_socket() = std::move(path);
}

}  // namespace service
