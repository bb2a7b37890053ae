// SPDX-License-Identifier: Apache-2.0
#include "service/mail/courier.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>

#include "host/child.h"
#include "host/files/whole_file.h"
#include "host/status.h"
#include "host/text_field.h"
#include "platform/syslog.h"
#include "service/mail/sent.h"

namespace service {
namespace {

constexpr int64_t first_pause_s = 60;
constexpr int64_t longest_pause_s = 3600;

int64_t pause_after(uint32_t attempts) {
  return std::min(first_pause_s << std::min(attempts, 10U), longest_pause_s);
}

template <size_t size>
std::string text_of(const char (&field)[size]) {
  return std::string(host::text_in(field));
}

std::string machine_name() {
  char name[256] = "";
  if (gethostname(name, sizeof name - 1) != 0 || name[0] == 0) return "localhost";
  return name;
}

const sch_schedule_email_entry *addresses_of(const std::string &schedule) {
  sch_schedule_email_entry *entry = nullptr;
  sch_find_schedule_email_entry(&sch_schedule_email_list, schedule.c_str(), &entry);
  return entry;
}

void warn(const QueuedMail &mail, const std::string &what) {
  tarn_syslog(LOG_WARNING, "mail of schedule %s, run %llu, to %s: %s", mail.schedule.c_str(),
              static_cast<unsigned long long>(mail.run), mail.to.c_str(), what.c_str());
}

// "user NAME" and "password SECRET", a line each, in a file that nobody else can read.
bool read_credentials(const std::string &path, std::string *user, std::string *password) {
  struct stat status = {};
  const host::FileDescriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
  if (!file || fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode) || status.st_uid != geteuid() ||
      (status.st_mode & 077) != 0)
    return false;
  std::ifstream in("/proc/self/fd/" + std::to_string(file.get()));
  for (std::string line; std::getline(in, line);) {
    if (line.starts_with("user ")) *user = line.substr(5);
    if (line.starts_with("password ")) *password = line.substr(9);
  }
  return !user->empty();
}

// schedmail's standard input, as a file in memory: a pipe would have to be fed while the helper runs.
host::Result<host::FileDescriptor> request_for(const QueuedMail &mail, const Settings &settings) {
  const sch_smtp_server_rec &smtp = email_transport_conf.smtp;
  std::string user, password;
  if (!settings.mail_credentials.empty() && !read_credentials(settings.mail_credentials, &user, &password))
    return host::Error{host::err_io,
                       settings.mail_credentials + " is no file of one's own, mode 0600, with a line 'user NAME'"};
  std::string text = "server " + text_of(smtp.server) + "\nport " + std::to_string(smtp.port) + "\ntls " +
                     (settings.mail_require_tls ? "require" : "try") + "\nname " + machine_name() + "\nvrf " +
                     text_of(smtp.vrf) + "\nfrom " + mail.from + "\nto " + mail.to + "\n";
  if (!user.empty()) text += "user " + user + "\npassword " + password + "\n";
  text += "\n" + mail.message;
  host::FileDescriptor file(memfd_create("mail", MFD_CLOEXEC));
  const std::span<const char> bytes(text);
  const bool written = file && host::write_at(file.get(), std::as_bytes(bytes), 0);
  explicit_bzero(text.data(), text.size());
  explicit_bzero(password.data(), password.size());
  if (!written) return host::Error{host::err_io, std::strerror(errno)};
  return file;
}

struct FileActions {
  posix_spawn_file_actions_t actions;
  FileActions() { posix_spawn_file_actions_init(&actions); }
  ~FileActions() { posix_spawn_file_actions_destroy(&actions); }
};

struct SpawnAttributes {
  posix_spawnattr_t attributes;
  SpawnAttributes() {
    posix_spawnattr_init(&attributes);
    sigset_t none, all;
    sigemptyset(&none);
    sigfillset(&all);
    posix_spawnattr_setsigmask(&attributes, &none);
    posix_spawnattr_setsigdefault(&attributes, &all);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSID);
  }
  ~SpawnAttributes() { posix_spawnattr_destroy(&attributes); }
};

}  // namespace

struct Courier::Attempt {
  MailQueue::Number number = 0;
  QueuedMail mail;
  pid_t pid = -1;
  host::FileDescriptor pidfd, output;
  host::Watch ended, overdue;

  ~Attempt() {
    if (pid <= 0) return;
    kill(pid, SIGKILL);
    host::collect_child(pid);
  }

  host::Result<void> start(const std::string &program, const host::FileDescriptor &request);
};

host::Result<void> Courier::Attempt::start(const std::string &program, const host::FileDescriptor &request) {
  const auto failed = [&](int code) { return host::Error{host::err_io, program + ": " + std::strerror(code)}; };
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) return failed(errno);
  output = host::FileDescriptor(ends[0]);
  const host::FileDescriptor write_end(ends[1]);
  FileActions files;
  const SpawnAttributes attributes;
  posix_spawn_file_actions_adddup2(&files.actions, request.get(), STDIN_FILENO);
  posix_spawn_file_actions_adddup2(&files.actions, write_end.get(), STDOUT_FILENO);
  posix_spawn_file_actions_addopen(&files.actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
  std::string name = "schedmail", path = "PATH=/usr/bin:/bin", language = "LANG=C";
  char *arguments[] = {name.data(), nullptr}, *environment[] = {path.data(), language.data(), nullptr};
  if (const int code =
          posix_spawn(&pid, program.c_str(), &files.actions, &attributes.attributes, arguments, environment);
      code != 0) {
    pid = -1;
    return failed(code);
  }
  pidfd = host::FileDescriptor(static_cast<int>(syscall(SYS_pidfd_open, pid, 0)));
  if (!pidfd) return failed(errno);
  return {};
}

Courier::Courier(Files files, std::shared_ptr<const Settings> settings, Clock now)
    : queue_(std::move(files.queue)),
      program_(std::move(files.schedmail)),
      limit_ms_(files.limit_ms),
      settings_(std::move(settings)),
      now_(std::move(now)) {}

Courier::~Courier() = default;

host::Result<void> Courier::open() {
  if (host::Result<void> opened = queue_.open(); !opened) return opened;
  look();
  return {};
}

bool Courier::wants(const std::string &schedule) const {
  return settings_->mail != MailPolicy::never && email_transport_conf.smtp.server[0] != 0 &&
         email_transport_conf.from[0] != 0 && addresses_of(schedule) != nullptr;
}

void Courier::send(const MailReport &report) {
  if (!wants(report.schedule) || (settings_->mail == MailPolicy::failure && !report.failed)) return;
  const sch_email_transport &conf = email_transport_conf;
  const MailSettings mail = {text_of(conf.from), text_of(conf.reply_to), machine_name()};
  for (const sch_email_slot &slot : addresses_of(report.schedule)->slots)
    if (slot.in_use != 0) queue_for(report, mail, text_of(slot.address));
  // Marked before anything is sent: a sent message leaves the queue, and then only this number tells that it was there.
  if (report.number != 0)
    if (const host::Result<void> marked = queue_.mark_taken(report.number); !marked)
      tarn_syslog(LOG_WARNING, "mail: %s", marked.error().text.c_str());
  look();
}

void Courier::queue_for(const MailReport &report, const MailSettings &mail, const std::string &to) {
  if (report.number != 0 && queue_.has_begun(report.number, to)) return;
  const int64_t now = now_();
  QueuedMail queued = {report.schedule, report.run, report.number, mail.from, to, now, 0, now, ""};
  if (!is_mail_address(to) || !is_mail_address(mail.from))
    return warn(queued, "not sent: the address or the sender's is none that a mail server takes");
  queued.message = compose_mail(report, mail, to, now);
  const host::Result<void> added = queue_.add(queued, static_cast<size_t>(std::max(settings_->mail_queue, 0)));
  if (!added) warn(queued, "not sent: " + added.error().text);
}

// Starts the next try that is due, or waits for it.
void Courier::look() {
  timer_.stop();
  if (attempt_ || email_transport_conf.smtp.server[0] == 0) return;
  if (const std::optional<MailQueue::Number> due = queue_.due(now_())) return start(*due);
  if (const std::optional<int64_t> next = queue_.next_try()) {
    // If the clock is set back the try comes late, but never by more than the longest pause.
    const int64_t wait_s = std::clamp<int64_t>(*next - now_(), 1, longest_pause_s);
    timer_ = host::Watch::after_ms(static_cast<unsigned>(wait_s * 1000), [this] { look(); });
  }
}

void Courier::start(MailQueue::Number number) {
  auto attempt = std::make_unique<Attempt>();
  attempt->number = number;
  host::Result<QueuedMail> mail = queue_.read(number);
  if (!mail) {
    tarn_syslog(LOG_WARNING, "mail: %s", mail.error().text.c_str());
    queue_.remove(number);
    return look();
  }
  attempt->mail = std::move(*mail);
  const host::Result<host::FileDescriptor> request = request_for(attempt->mail, *settings_);
  const host::Result<void> started = request ? attempt->start(program_, *request) : request.error();
  attempt_ = std::move(attempt);
  if (!started) return settle(attempt_->mail, static_cast<int>(Sent::later), started.error().text);
  attempt_->ended = host::Watch::readable(attempt_->pidfd.get(), [this] { finish(); });
  attempt_->overdue = host::Watch::after_ms(limit_ms_, [this] { kill(attempt_->pid, SIGKILL); });
}

void Courier::finish() {
  const int status = host::collect_child(attempt_->pid);
  attempt_->pid = -1;
  char words[512];
  const ssize_t size = read(attempt_->output.get(), words, sizeof words);
  std::string text(words, size > 0 ? static_cast<size_t>(size) : 0);
  text = text.substr(0, text.find('\n'));
  const int exit = WIFEXITED(status) ? WEXITSTATUS(status) : static_cast<int>(Sent::later);
  settle(attempt_->mail, exit, text.empty() ? "schedmail ended without a word" : text);
}

void Courier::settle(const QueuedMail &mail, int status, const std::string &words) {
  const std::unique_ptr<Attempt> ended = std::move(attempt_);
  QueuedMail again = mail;
  again.attempts++;
  again.next_try = now_() + pause_after(mail.attempts);
  const bool too_old = again.next_try - mail.queued > settings_->mail_retry_window_s;
  const bool refused = status == static_cast<int>(Sent::refused);
  if (status != static_cast<int>(Sent::sent) && (refused || too_old))
    warn(mail, "given up after " + std::to_string(again.attempts) + " attempts: " + words);
  else if (status != static_cast<int>(Sent::sent) && mail.attempts == 0)
    warn(mail, "not sent yet, and tried again: " + words);
  if (status == static_cast<int>(Sent::sent) || refused || too_old)
    queue_.remove(ended->number);
  else if (const host::Result<void> kept = queue_.put_back(ended->number, again); !kept)
    warn(mail, kept.error().text);
  timer_ = host::Watch::after_ms(0, [this] { look(); });  // not called from here, to not recurse once for each message
}

std::string find_schedmail() {
  char path[4096];
  const ssize_t size = readlink("/proc/self/exe", path, sizeof path);
  if (size <= 0) return {};
  const std::string program(path, static_cast<size_t>(size));
  const std::string directory = program.substr(0, program.rfind('/'));
  for (const char *place : {"/schedmail", "/../libexec/schedcli/schedmail"})
    if (access((directory + place).c_str(), X_OK) == 0) return directory + place;
  return {};
}

}  // namespace service
