// SPDX-License-Identifier: Apache-2.0
#include "service/mail/queue.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "host/files/directory.h"
#include "host/files/whole_file.h"
#include "host/status.h"

namespace service {
namespace {

namespace fs = std::filesystem;

constexpr char first_line[] = "schedcli-mail 1";
constexpr char suffix[] = ".mail";
constexpr char taken_file[] = "/taken";

host::Error failed(const std::string &what, const std::string &why) {
  return {host::err_io, what + ": " + why};
}

// The format of a file: lines "name value", an empty line, the message.
std::string encode(const QueuedMail &mail) {
  std::ostringstream text;
  text << first_line << "\nschedule " << mail.schedule << "\nrun " << mail.run << "\nreport " << mail.report
       << "\nfrom " << mail.from << "\nto " << mail.to << "\nqueued " << mail.queued << "\nattempts " << mail.attempts
       << "\nnext " << mail.next_try << "\n\n"
       << mail.message;
  return text.str();
}

template <typename Number>
bool take_number(const std::string &text, Number *number) {
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), *number);
  return error == std::errc() && end == text.data() + text.size();
}

bool take_field(const std::string &name, const std::string &value, QueuedMail *mail) {
  if (name == "schedule") mail->schedule = value;
  if (name == "from") mail->from = value;
  if (name == "to") mail->to = value;
  if (name == "run") return take_number(value, &mail->run);
  if (name == "report") return take_number(value, &mail->report);
  if (name == "queued") return take_number(value, &mail->queued);
  if (name == "attempts") return take_number(value, &mail->attempts);
  if (name == "next") return take_number(value, &mail->next_try);
  return true;
}

bool decode(std::istream &in, QueuedMail *mail) {
  std::string line;
  if (!std::getline(in, line) || line != first_line) return false;
  while (std::getline(in, line) && !line.empty()) {
    const size_t blank = line.find(' ');
    if (blank == std::string::npos || !take_field(line.substr(0, blank), line.substr(blank + 1), mail)) return false;
  }
  mail->message.assign(std::istreambuf_iterator<char>(in), {});
  return !mail->to.empty() && !mail->from.empty() && !mail->message.empty();
}

}  // namespace

std::string MailQueue::path_of(Number number) const {
  return directory_ + "/" + std::to_string(number) + suffix;
}

host::Result<void> MailQueue::open() {
  if (const host::Result<void> made = host::make_private_directory(directory_); !made)
    return host::Error{host::err_io, made.error().text};
  last_taken_ = read_last_taken();
  std::error_code error;
  for (const fs::directory_entry &file : fs::directory_iterator(directory_, error)) {
    Number number = 0;
    if (file.path().extension() != suffix || !take_number(file.path().stem(), &number)) {
      std::error_code ignored;
      if (file.path().extension() == ".new") fs::remove(file.path(), ignored);
      continue;
    }
    const host::Result<QueuedMail> mail = read(number);
    if (mail) waiting_[number] = mail->next_try;
    if (mail && mail->report > last_taken_) begun_.emplace(mail->report, mail->to);
    last_ = std::max(last_, number);
  }
  if (error) return failed(directory_, error.message());
  return {};
}

uint32_t MailQueue::read_last_taken() const {
  std::ifstream in(directory_ + taken_file);
  std::string line;
  uint32_t number = 0;
  return std::getline(in, line) && take_number(line, &number) ? number : 0;
}

host::Result<void> MailQueue::mark_taken(uint32_t report) {
  last_taken_ = report;
  return host::write_whole_file(directory_ + taken_file, std::to_string(report) + "\n");
}

host::Result<void> MailQueue::add(const QueuedMail &mail, size_t limit) {
  if (waiting_.size() >= limit)
    return host::Error{host::err_busy, "the mail queue is full: " + std::to_string(limit) + " messages wait"};
  const Number number = last_ + 1;
  if (host::Result<void> written = host::write_whole_file(path_of(number), encode(mail)); !written) return written;
  last_ = number;
  waiting_[number] = mail.next_try;
  return {};
}

std::optional<int64_t> MailQueue::next_try() const {
  const auto earliest =
      std::min_element(waiting_.begin(), waiting_.end(), [](auto &a, auto &b) { return a.second < b.second; });
  return earliest == waiting_.end() ? std::nullopt : std::optional(earliest->second);
}

std::optional<MailQueue::Number> MailQueue::due(int64_t now) const {
  const auto earliest =
      std::min_element(waiting_.begin(), waiting_.end(), [](auto &a, auto &b) { return a.second < b.second; });
  if (earliest == waiting_.end() || earliest->second > now) return std::nullopt;
  return earliest->first;
}

host::Result<QueuedMail> MailQueue::read(Number number) const {
  std::ifstream in(path_of(number), std::ios::binary);
  QueuedMail mail;
  if (!in) return failed(path_of(number), std::strerror(errno));
  if (!decode(in, &mail)) return failed(path_of(number), "not a queued message, or damaged");
  return mail;
}

host::Result<void> MailQueue::put_back(Number number, const QueuedMail &mail) {
  waiting_[number] = mail.next_try;  // even if the write fails, so that it is not retried at once
  return host::write_whole_file(path_of(number), encode(mail));
}

void MailQueue::remove(Number number) {
  unlink(path_of(number).c_str());
  waiting_.erase(number);
}

}  // namespace service
