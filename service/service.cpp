// SPDX-License-Identifier: Apache-2.0
#include "service/service.h"

#include <signal.h>
#include <sys/signalfd.h>
#include <syslog.h>
#include <unistd.h>

#include <cstdio>
#include <utility>

#include "control/operations.h"
#include "host/files/paths.h"
#include "host/status.h"
#include "platform/syslog.h"
#include "schedcli.h"
#include "service/calendar/service_zone.h"
#include "service/clock.h"
#include "service/config/reload.h"
#include "service/footprint.h"
#include "service/notify.h"
#include "service/request/answer.h"
#include "service/request/dispatch.h"
#include "service/request/payload.h"
#include "service/state/startup.h"

namespace service {
namespace {

// In addition to the runs' grace: time to kill what did not end in it, and to store the outcomes.
constexpr unsigned stop_margin_s = 30;

// The socket may be open to every user, but those who cannot enter a directory above it cannot connect.
std::string whom_it_serves(const std::string &user) {
  if (!host::paths().system_wide) return "serves " + user + " alone";
  const std::string closed = host::closed_to_others(host::paths().socket);
  if (closed.empty()) return "as root, serves all users";
  return "as root, serves root alone, as other users cannot pass " + closed +
         " (SCHEDCLI_RUN_DIR names a run directory that they can reach)";
}

void say_whom_it_serves(const std::string &user, const char *mode) {
  std::fprintf(stderr, "schedd: %s%s; state directory %s, socket %s\n", whom_it_serves(user).c_str(), mode,
               host::paths().state.c_str(), host::paths().socket.c_str());
}

// The signals are blocked for the whole process, to be read from a descriptor; a job's process unblocks them.
host::FileDescriptor take_signals() {
  sigset_t wanted;
  sigemptyset(&wanted);
  for (const int number : {SIGTERM, SIGINT, SIGHUP, SIGUSR1})
    sigaddset(&wanted, number);
  sigprocmask(SIG_BLOCK, &wanted, nullptr);
  signal(SIGPIPE, SIG_IGN);
  signal(SIGXFSZ, SIG_IGN);  // a write beyond the file size limit fails with EFBIG instead
  return host::FileDescriptor(signalfd(-1, &wanted, SFD_CLOEXEC | SFD_NONBLOCK));
}

bool is_take_over(const host::Incoming &incoming) {
  return incoming.service == host::service_control && incoming.body.size() == sizeof(uint32_t) &&
         record_of<uint32_t>(incoming.body) == static_cast<uint32_t>(control::Operation::take_over);
}

// A state directory of a newer version stays so: its status keeps a supervisor from starting the service again.
Failure unusable_state(const host::Error &error) {
  return {error.code == host::err_state_newer ? state_newer : state_unusable, error.text};
}

}  // namespace

Service::Service(const Options &options, std::shared_ptr<const Settings> settings, host::User user)
    : options_(options), settings_(std::move(settings)), user_(std::move(user)), started_(wall_clock()) {}

std::optional<Failure> Service::stand_by() {
  standby_ = std::make_unique<Standby>(user_, started_);
  const host::Result<void> opened = standby_->open();
  return opened ? std::nullopt : std::optional(unusable_state(opened.error()));
}

std::optional<Failure> Service::open_active(const Settings &settings) {
  if (const auto opened = open_stores(settings, wall_clock()); !opened) return unusable_state(opened.error());
  active_ = std::make_unique<Active>(settings_, user_, started_);
  const host::Result<void> settled = active_->settle();
  return settled ? std::nullopt : std::optional(Failure{failed, settled.error().text});
}

std::optional<Failure> Service::listen() {
  host::Server::Options listening;
  listening.socket_path = host::paths().socket;
  if (!host::paths().system_wide) listening.only_uid = user_.uid;
  listening.only_reads = [this](uint32_t asked, Payload request) { return active_ && only_reads(asked, request); };
  auto server = host::Server::listen(listening, [this](const host::Incoming &incoming) { return answer(incoming); });
  if (!server) return Failure{failed, server.error().text};
  server_ = std::move(*server);
  return std::nullopt;
}

host::Answer Service::answer(const host::Incoming &incoming) {
  if (failure_) return with_status(host::err_io);  // it is about to end
  if (active_) return active_->answer(incoming);
  return is_take_over(incoming) ? answer_take_over(incoming) : standby_->answer(incoming, *settings_);
}

host::Answer Service::answer_take_over(const host::Incoming &incoming) {
  if (!standby_->may_end_it(incoming.caller)) return with_status(host::err_not_permitted);
  take_over();
  return with_status(failure_ ? host::err_io : 0);
}

// Starts from the running stores whatever `boot-from` says, as they hold what the active service has left. If that
// fails the service ends, and its supervisor restarts it in standby.
void Service::take_over() {
  tarn_syslog(LOG_NOTICE, "takes over from standby");
  standby_.reset();
  Settings as_it_is = *settings_;
  as_it_is.boot_from = BootFrom::running;
  failure_ = open_active(as_it_is);
  if (!failure_)
    if (const host::Result<void> started = active_->start(); !started) failure_ = Failure{failed, started.error().text};
  if (failure_) return loop_.quit();
  notify_supervisor("STATUS=active");
}

void Service::read_settings_again() {
  notify_reloading();
  if (reload(read_settings(options_), &settings_)) {
    if (active_)
      active_->use(settings_);
    else if (const host::Result<void> zone = set_service_zone(settings_->zone); !zone)
      sch_syslog_raise(&syslog_msg_SCH_WARN, zone.error().text.c_str());
  }
  notify_supervisor("READY=1");
}

void Service::take_signal(const host::FileDescriptor &signals) {
  signalfd_siginfo info = {};
  if (read(signals.get(), &info, sizeof info) != static_cast<ssize_t>(sizeof info)) return;
  switch (info.ssi_signo) {
    case SIGHUP:
      return read_settings_again();
    case SIGUSR1:
      if (standby_) take_over();
      return;
    default:
      loop_.quit();
  }
}

void Service::run_until_signalled() {
  const host::FileDescriptor signals = take_signals();
  const host::Watch signalled = host::Watch::readable(signals.get(), [&] { take_signal(signals); });
  say_whom_it_serves(user_.name, standby_ ? ", in standby" : "");
  give_back_start();
  notify_supervisor(standby_ ? "READY=1\nSTATUS=in standby" : "READY=1");
  const Watchdog watchdog;
  loop_.run();
  notify_stopping(static_cast<unsigned>(settings_->stop_grace_s) + stop_margin_s);
}

std::optional<Failure> Service::run() {
  if (const host::Result<void> zone = set_service_zone(settings_->zone); !zone)
    return Failure{failed, zone.error().text};
  const bool waits = settings_->start_as == StartAs::standby;
  if (auto failure = waits ? stand_by() : open_active(*settings_)) return failure;
  if (auto failure = listen()) return failure;
  if (active_)
    if (const host::Result<void> started = active_->start(); !started) return Failure{failed, started.error().text};
  run_until_signalled();
  server_.reset();
  if (active_) active_->stop();
  return failure_;
}

}  // namespace service
