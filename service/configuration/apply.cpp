// SPDX-License-Identifier: Apache-2.0
#include "service/configuration/apply.h"

#include <unistd.h>

#include <cstring>
#include <optional>

#include "host/errors.h"
#include "host/files/uri.h"
#include "host/status.h"
#include "service/clock.h"
#include "service/configuration/database.h"
#include "service/configuration/in_use.h"
#include "service/configuration/stored_passwords.h"
#include "service/joblog/joblog.h"
#include "service/request/feature.h"
#include "service/request/logging_level.h"
#include "service/run/scheduler.h"
#include "service/state/statuses.h"
#include "service/state/tables.h"

namespace service {
namespace {

constexpr uint32_t kind_ipv4 = 1, kind_ipv6 = 2, kind_name = 16;

template <size_t size>
void put(char (&field)[size], const std::string &text) {
  std::memset(field, 0, size);
  text.copy(field, size - 1);
}

uint32_t address_kind(const std::string &host) {
  if (host.find(':') != std::string::npos) return kind_ipv6;
  return host.find_first_not_of("0123456789.") == std::string::npos ? kind_ipv4 : kind_name;
}

sch_email_transport transport_of(const GlobalSettings &settings) {
  sch_email_transport conf = SCH_EMAIL_TRANSPORT_INITIALIZER;
  put(conf.from, settings.mail_from);
  put(conf.reply_to, settings.mail_reply_to);
  put(conf.reply_to_copy, settings.mail_reply_to);
  if (settings.mail_server.host.empty()) return conf;
  put(conf.smtp.server, settings.mail_server.host);
  if (!settings.mail_server.vrf.empty()) put(conf.smtp.vrf, settings.mail_server.vrf);
  conf.smtp.port = settings.mail_server.port;
  conf.smtp.address_kind = address_kind(settings.mail_server.host);
  return conf;
}

// A new log with the wanted settings, built beside the present one and removed unless it is adopted.
class LogChange {
 public:
  explicit LogChange(JobLog &log) : log_(log) {}
  ~LogChange() {
    if (draft_) log_.discard(*draft_);
  }
  LogChange(const LogChange &) = delete;
  LogChange &operator=(const LogChange &) = delete;

  host::Result<void> prepare(const GlobalSettings &now, const GlobalSettings &wanted) {
    if (now.log_kilobytes == wanted.log_kilobytes && now.log_uri == wanted.log_uri) return {};
    sch_log_file_rec settings = sch_log_file;
    settings.size = wanted.log_kilobytes * SCH_LOG_SIZE_UNIT;
    if (now.log_uri != wanted.log_uri && !name_file(wanted.log_uri, &settings))
      return host::error_of(host::err_bad_value);
    const std::string path = log_path(settings);
    if (path != log_path(sch_log_file) && access(path.c_str(), F_OK) == 0)
      return host::Error{SCH_STATUS_EXISTS, path + ": a file is there already; the log is not put over it"};
    host::Result<JobLog::Draft> draft = log_.prepare(settings, JobLog::Keep::records);
    if (!draft) return draft.error();
    draft_ = std::move(*draft);
    return {};
  }

  void save(ConfigChange &change) const {
    if (draft_) change.require(sch_save_log_file_entry_to_pss(pss_running, &sch_log_file_key, &draft_->settings));
  }

  void adopt() {
    if (draft_) log_.adopt(*draft_);
    draft_.reset();
  }

 private:
  static bool name_file(const std::string &text, sch_log_file_rec *settings) {
    put(settings->name, SCH_LOG_NAME_DEFAULT);
    put(settings->uri, SCH_LOG_URI_DEFAULT);
    if (text.empty()) return true;
    const host::Result<host::FileUri> uri = host::parse_file_uri(text);
    const std::string path = uri ? host::file_uri_path(*uri) : "";
    put(settings->name, path);
    put(settings->uri, text);
    return !path.empty();
  }

  JobLog &log_;
  std::optional<JobLog::Draft> draft_;
};

void change_transport(ConfigChange &change, const GlobalSettings &now, const GlobalSettings &wanted) {
  if (now.mail_from == wanted.mail_from && now.mail_reply_to == wanted.mail_reply_to &&
      now.mail_server == wanted.mail_server)
    return;
  change.undo([before = email_transport_conf] { email_transport_conf = before; });
  email_transport_conf = transport_of(wanted);
  change.require(sch_save_email_from_conf_to_pss(pss_running, &email_transport_conf));
  change.require(sch_save_email_replyto_conf_to_pss(pss_running, &email_transport_conf));
  change.require(sch_save_email_smtpserver_conf_to_pss(pss_running, &email_transport_conf));
}

bool change_logging_level(int32_t level) {
  if (logging_level(debug_pss_running) == level) return true;
  if (store_logging_level(debug_pss_running, level) != 0) return false;
  apply_logging_level();
  return true;
}

// Statuses of jobs and schedules that were removed must not be taken over by later ones with the same slot or name.
void settle_statuses(Context &context, const std::vector<Database::MovedJob> &moved) {
  std::vector<uint32_t> from, to;
  for (const Database::MovedJob &job : moved) {
    from.push_back(job.from);
    to.push_back(job.to);
  }
  const bool carried = carry_statuses(from, to);
  context.stale_statuses = !purge_statuses() || !carried;
}

}  // namespace

host::Result<Applied> apply_configuration(
    Context &context, const Configuration &target, const Origin &origin,
    const std::function<host::Result<void>(const HistoryDraft &)> &before_commit) {
  const Configuration current = configuration_in_use();
  const GlobalSettings &now = current.settings, &wanted = target.settings;
  LogChange log(context.log);
  if (const host::Result<void> prepared = log.prepare(now, wanted); !prepared) return prepared.error();
  Database database(target);
  ConfigChange change;
  const time_t moment = wall_clock();
  change_transport(change, now, wanted);
  database.take_place(change, moment);
  if (wanted.feature && *wanted.feature != (scheduler_enabled != 0)) change_feature(change, *wanted.feature, moment);
  log.save(change);
  Configuration after = configuration_in_use();
  after.settings.log_kilobytes = wanted.log_kilobytes;
  after.settings.log_uri = wanted.log_uri;
  after.settings.logging_level = wanted.logging_level;
  const host::Result<HistoryDraft> draft = draft_history(current, context.last_change, after, origin);
  if (!draft) return draft.error();
  host::Result<void> ready = before_commit(*draft);
  if (ready)
    if (const uint32_t status = change.commit(); status != 0) ready = host::error_of(status);
  if (!ready) {
    discard_draft(*draft);
    return ready.error();
  }
  Applied applied = {database.keeps_order(), "", *draft};
  log.adopt();
  settle_statuses(context, database.moved_jobs());
  const bool has_level = change_logging_level(wanted.logging_level), adopted = adopt_draft(*draft);
  if (!has_level) applied.warning = "the logging level could not be stored";
  if (!has_level && !adopted) applied.warning += "; the next start of the service tries again";
  context.last_change = origin;
  context.scheduler.check_soon();
  return applied;
}

void settle_configuration() {
  const std::optional<Configuration> wanted = settle_history(configuration_in_use);
  if (wanted) (void)change_logging_level(wanted->settings.logging_level);
  settle_passwords();
}

}  // namespace service
