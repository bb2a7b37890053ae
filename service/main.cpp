// SPDX-License-Identifier: Apache-2.0
#include <signal.h>
#include <sys/signalfd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>

#include "control/statuses.h"
#include "host/debug.h"
#include "host/files/paths.h"
#include "host/loop/loop.h"
#include "host/loop/watch.h"
#include "host/security/security.h"
#include "host/store/store.h"
#include "host/sysmgr.h"
#include "service/calendar/service_zone.h"
#include "service/calendar/zone_watch.h"
#include "service/config/reload.h"
#include "service/configuration/apply.h"
#include "service/configuration/desk.h"
#include "service/footprint.h"
#include "service/joblog/joblog.h"
#include "service/limits.h"
#include "service/mail/courier.h"
#include "service/mail/run_reports.h"
#include "service/notify.h"
#include "service/options.h"
#include "service/request/dispatch.h"
#include "service/run/clock.h"
#include "service/run/recorder.h"
#include "service/run/run_record.h"
#include "service/run/runner.h"
#include "service/run/scheduler.h"
#include "service/settings_in_use.h"
#include "service/state/startup.h"

namespace service {
namespace {

enum Exit { ended = 0, failed = 1, wrong_usage = 2, state_unusable = 3 };

int give_up(Exit status, const std::string &error) {
  std::fprintf(stderr, "schedd: %s\n", error.c_str());
  sch_syslog_raise(&syslog_msg_SCH_ERR, error.c_str());
  return status;
}

// A socket under a private directory is nobody else's, whatever its own mode is.
std::string whom_it_serves(const std::string &user) {
  if (!host::paths().system_wide) return "serves " + user + " alone";
  const std::string closed = host::closed_to_others(host::paths().socket);
  if (closed.empty()) return "as root, serves all users";
  return "as root, serves root alone, as other users cannot pass " + closed +
         " (SCHEDCLI_RUN_DIR names a run directory that they can reach)";
}

void say_whom_it_serves(const std::string &user) {
  std::fprintf(stderr, "schedd: %s; state directory %s, socket %s\n", whom_it_serves(user).c_str(),
               host::paths().state.c_str(), host::paths().socket.c_str());
}

// Blocked here for the whole process; a job's process sets its own back.
host::FileDescriptor take_signals() {
  sigset_t wanted;
  sigemptyset(&wanted);
  sigaddset(&wanted, SIGTERM);
  sigaddset(&wanted, SIGINT);
  sigaddset(&wanted, SIGHUP);
  sigprocmask(SIG_BLOCK, &wanted, nullptr);
  signal(SIGPIPE, SIG_IGN);
  signal(SIGXFSZ, SIG_IGN);  // the write that goes too far fails, and says so
  return host::FileDescriptor(signalfd(-1, &wanted, SFD_CLOEXEC | SFD_NONBLOCK));
}

// False: the service is to end.
bool take_signal(const host::FileDescriptor &signals, const Options &options, Context &context, ZoneWatch &zone_watch) {
  signalfd_siginfo info = {};
  if (read(signals.get(), &info, sizeof info) != static_cast<ssize_t>(sizeof info)) return true;
  if (info.ssi_signo != SIGHUP) return false;
  notify_reloading();
  std::shared_ptr<const Settings> settings = context.settings;
  if (reload(read_settings(options), &settings)) {
    use(context, settings);
    zone_watch.configure(settings->zone);
  }
  notify_supervisor("READY=1");
  return true;
}

void run_until_signalled(host::Loop &loop, const host::FileDescriptor &signals, const Options &options,
                         Context &context, ZoneWatch &zone_watch) {
  const host::Watch end = host::Watch::readable(signals.get(), [&] {
    if (!take_signal(signals, options, context, zone_watch)) loop.quit();
  });
  notify_supervisor("READY=1");
  const Watchdog watchdog;
  loop.run();
  notify_supervisor("STOPPING=1");
}

int serve(const Options &options, std::shared_ptr<const Settings> settings, const host::User &user) {
  host::Loop loop;
  if (const host::Result<void> zone = set_service_zone(settings->zone); !zone)
    return give_up(failed, zone.error().text);
  if (const auto opened = open_stores(*settings, time(nullptr)); !opened)
    return give_up(state_unusable, opened.error().text);
  JobLog log;
  Recorder recorder(log);
  Runner runner(recorder, {settings, host::paths().system_wide});
  Scheduler scheduler(recorder, runner, *settings);
  Courier courier({host::paths().state + "/mail", find_schedmail()}, settings, [] { return int64_t{wall_clock()}; });
  RunReports reports(courier);
  recorder.on_stored([&](const RunStep &step) { reports.take(step); });
  Context context = {Authority(host::paths().system_wide, {user.uid, user.name}),
                     log,
                     runner,
                     scheduler,
                     false,
                     std::move(settings),
                     time(nullptr),
                     &courier};
  if (const auto settled = settle_stores(); !settled) return give_up(failed, settled.error().text);
  if (const auto opened = log.open(stored_outcomes()); !opened) return give_up(failed, opened.error().text);
  if (const auto ended = runner.processes().end_left_overs(); !ended)
    sch_syslog_raise(&syslog_msg_SCH_ERR, ended.error().text.c_str());
  settle_configuration();
  scheduler.recover();
  if (const auto opened = courier.open(); !opened) sch_syslog_raise(&syslog_msg_SCH_ERR, opened.error().text.c_str());
  ConfigurationDesk desk(context);
  context.desk = &desk;
  desk.confirmation.start();
  if (const auto marked = host::sysmgr_mark_started(); !marked) return give_up(failed, marked.error().text);

  const host::FileDescriptor signals = take_signals();
  host::Server::Options listening;
  listening.socket_path = host::paths().socket;
  if (!host::paths().system_wide) listening.only_uid = user.uid;
  const auto answer = [&](const host::Incoming &incoming) {
    host::Answer result = dispatch(context, incoming);
    if (incoming.service != SCH_SERVICE_SHOW) scheduler.check_soon();  // showing changes nothing
    return result;
  };
  host::Result<std::unique_ptr<host::Server>> server = host::Server::listen(listening, answer);
  if (!server) return give_up(failed, server.error().text);
  if (const auto started = scheduler.start(); !started) return give_up(failed, started.error().text);
  ZoneWatch zone_watch;
  zone_watch.start([&] { scheduler.zone_changed(); });
  say_whom_it_serves(user.name);
  give_back_start();
  run_until_signalled(loop, signals, options, context, zone_watch);

  server->reset();
  runner.stop_all();
  return ended;
}

int refuse(const std::vector<std::string> &problems) {
  for (const std::string &problem : problems)
    std::fprintf(stderr, "schedd: %s\n", problem.c_str());
  return wrong_usage;
}

int say_right(const Settings &settings) {
  const std::string &file = settings.file;
  std::printf("%s\n",
              file.empty() ? "there is no file of settings; the defaults are used" : (file + ": right").c_str());
  return std::fflush(stdout) == 0 ? ended : failed;
}

int start(const Options &options, Settings settings) {
  control::use_error_texts();
  debug_level = options.debug_level;
  host::store_set_bound(static_cast<uint64_t>(settings.store_limit_mib) << 20);
  umask(077);
  host::use_paths(host::resolve_paths(options.state_dir.empty() ? nullptr : options.state_dir.c_str()));
  host::syslog_open("schedd", options.foreground);
  const std::optional<host::User> user = host::user_by_uid(geteuid());
  if (!user) return give_up(failed, "user number " + std::to_string(geteuid()) + " has no name; add it to the users");
  const int status = serve(options, std::make_shared<const Settings>(std::move(settings)), *user);
  sch_pss_close_handles(nullptr);
  return status;
}

int run(int argc, char **argv) {
  Options options;
  switch (parse_options(argc, argv, &options)) {
    case control::Parsed::done:
      return ended;
    case control::Parsed::wrong:
      return wrong_usage;
    case control::Parsed::run:
      break;
  }
  SettingsRead read = read_settings(options);
  if (!read.problems.empty()) return refuse(read.problems);
  return options.check ? say_right(read.settings) : start(options, std::move(read.settings));
}

}  // namespace
}  // namespace service

int main(int argc, char **argv) {
  service::keep_freed_memory_small();
  return service::run(argc, argv);
}
