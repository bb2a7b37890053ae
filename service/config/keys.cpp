// SPDX-License-Identifier: Apache-2.0
#include "service/config/keys.h"

#include <glib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <memory>

#include "service/calendar/zone.h"
#include "service/limits.h"

namespace service {
namespace {

constexpr int day_s = 24 * 3600;

template <class Choice>
ChoiceField choice(Choice *value, std::vector<std::string> words) {
  return {[value](size_t index) { *value = static_cast<Choice>(index); },
          [value] { return static_cast<size_t>(*value); }, std::move(words)};
}

bool is_whole_path(const std::string &value) {
  return value.starts_with('/');
}

bool is_program(const std::string &value) {
  struct stat found = {};
  return is_whole_path(value) && stat(value.c_str(), &found) == 0 && S_ISREG(found.st_mode) &&
         access(value.c_str(), X_OK) == 0;
}

bool is_zone(const std::string &value) {
  return Zone::load(value).ok();
}

struct Allowed {
  std::string operator()(const NumberField &field) const {
    const std::string of = *field.unit != '\0' ? std::string(" of ") + field.unit : "";
    return std::string(field.or_zero ? "0 or a number" : "a number") + of + " from " + std::to_string(field.least) +
           " to " + std::to_string(field.most);
  }
  std::string operator()(const ChoiceField &field) const {
    std::string text;
    for (const std::string &word : field.words)
      text += (text.empty() ? "" : " or ") + word;
    return text;
  }
  std::string operator()(const FlagField &) const { return "true or false"; }
  std::string operator()(const TextField &field) const { return field.form; }
  std::string operator()(const NamesField &) const { return "names with ';' between them"; }
};

struct Value {
  std::string operator()(const NumberField &field) const { return std::to_string(*field.value); }
  std::string operator()(const ChoiceField &field) const { return field.words[field.get()]; }
  std::string operator()(const FlagField &field) const { return *field.value ? "true" : "false"; }
  std::string operator()(const TextField &field) const { return *field.value; }
  std::string operator()(const NamesField &field) const {
    std::string text;
    for (const std::string &name : *field.value)
      text += name + ';';
    return text;
  }
};

std::vector<std::string> split(const std::string &text) {
  std::vector<std::string> names;
  const std::unique_ptr<char *, decltype(&g_strfreev)> parts(g_strsplit(text.c_str(), ";", 0), g_strfreev);
  for (char **part = parts.get(); *part != nullptr; part++)
    names.emplace_back(g_strstrip(*part));
  if (!names.empty() && names.back().empty()) names.pop_back();  // a list may end with a separator
  return names;
}

struct Set {
  const std::string &text;

  bool operator()(const NumberField &field) const {
    char *end = nullptr;
    errno = 0;
    const long value = std::strtol(text.c_str(), &end, 10);
    const bool digits = !text.empty() && (g_ascii_isdigit(text[0]) || text[0] == '-');
    if (!digits || errno != 0 || *end != '\0' || value > field.most) return false;
    if (value < field.least && !(field.or_zero && value == 0)) return false;
    *field.value = static_cast<int>(value);
    return true;
  }
  bool operator()(const ChoiceField &field) const {
    const auto word = std::find(field.words.begin(), field.words.end(), text);
    if (word == field.words.end()) return false;
    field.set(static_cast<size_t>(word - field.words.begin()));
    return true;
  }
  bool operator()(const FlagField &field) const {
    if (text != "true" && text != "false") return false;
    *field.value = text == "true";
    return true;
  }
  bool operator()(const TextField &field) const {
    if (text.empty() ? !field.value->empty() : !field.allowed(text)) return false;
    *field.value = text;
    return true;
  }
  bool operator()(const NamesField &field) const {
    std::vector<std::string> names = split(text);
    if (std::any_of(names.begin(), names.end(), [](const auto &name) { return name.empty(); })) return false;
    *field.value = std::move(names);
    return true;
  }
};

void append_keys(std::string *file, const std::vector<Key> &keys) {
  std::string group;
  for (const Key &key : keys) {
    if (group != key.group) *file += "\n[" + (group = key.group) + "]\n";
    *file += "\n# " + std::string(key.what) + "\n# Allowed: " + allowed_for(key) + "." +
             (key.at_start ? " Read when the service starts." : "") + "\n#" + key.name + "=" + value_of(key) + "\n";
  }
}

}  // namespace

std::vector<Key> keys_of(Settings &s) {
  return {
      {"service", "zone", TextField{&s.zone, "a time zone's name, such as Europe/Berlin", is_zone},
       "The zone of all wall-clock times; empty: the one of TZ, otherwise the machine's."},
      {"service", "interpreter", TextField{&s.interpreter, "the whole path of a program", is_program},
       "The program that interprets the jobs' texts."},
      {"service", "start-as", choice(&s.start_as, {"active", "standby"}),
       "Whether the service runs what is due, or keeps its stores and runs nothing until it is told to take over.",
       true},
      {"service", "boot-from", choice(&s.boot_from, {"running", "startup"}),
       "The configuration that a boot begins with: the one that was in use, or, as on a switch, the one saved by 'copy "
       "running-config startup-config'.",
       true},
      {"service", "store-limit", NumberField{&s.store_limit_mib, 1, 1024, "MiB"},
       "The largest size of each store's file.", true},

      {"limits", "schedules", NumberField{&s.max_schedules, 1, 100000, ""}, "Schedules of all users together."},
      {"limits", "schedules-per-user", NumberField{&s.max_schedules_per_user, 1, 100000, ""}, "Schedules of one user."},
      {"limits", "jobs-per-user", NumberField{&s.max_jobs_per_user, 1, SCH_MAX_JOBS, ""}, "Jobs of one user."},
      {"limits", "job-text", NumberField{&s.job_text_bytes, 1, static_cast<int>(job_text_limit), "bytes"},
       "The longest text of a job."},
      {"limits", "log-size",
       NumberField{&s.log_size_kib, SCH_LOG_SIZE_DEFAULT / SCH_LOG_SIZE_UNIT, log_size_max / SCH_LOG_SIZE_UNIT, "KiB"},
       "The largest size of the job log that an operator may set."},

      {"runs", "parallel", NumberField{&s.max_parallel, 1, 1000, ""}, "Schedules that run at once."},
      {"runs", "parallel-per-user", NumberField{&s.max_parallel_per_user, 1, 1000, ""},
       "Schedules of one user that run at once; others wait, and users take turns."},
      {"runs", "missed", choice(&s.missed, {"skip", "run-once"}),
       "What happens to due times that passed while the service was down: nothing, or one run for all of them."},
      {"runs", "missed-window", NumberField{&s.missed_window_s, 0, 31 * day_s, "seconds"},
       "A due time that was missed longer ago is not run any more."},
      {"runs", "late-grace", NumberField{&s.late_grace_s, 1, 3600, "seconds"},
       "A due time that is late by no more than this is not missed."},
      {"runs", "stop-grace", NumberField{&s.stop_grace_s, 0, 600, "seconds"},
       "The time that all runs together have to end when the service ends."},

      {"access", "allow-groups", NamesField{&s.allow_groups},
       "Only members of these groups, and the administrator, may configure; empty: everybody may."},

      {"mail", "send", choice(&s.mail, {"always", "failure", "never"}),
       "Which outcomes are mailed to a schedule's addresses."},
      {"mail", "require-tls", FlagField{&s.mail_require_tls}, "Send nothing over a connection that is not encrypted."},
      {"mail", "credentials", TextField{&s.mail_credentials, "the whole path of a file", is_whole_path},
       "A file that only the service's user may read, with 'user' and 'password' for the mail server."},
      {"mail", "retry-window", NumberField{&s.mail_retry_window_s, 60, 31 * day_s, "seconds"},
       "How long the service tries to send a message."},
      {"mail", "queue", NumberField{&s.mail_queue, 1, 100000, "messages"},
       "The most messages that may wait to be sent."},
  };
}

std::vector<Key> class_keys_of(ClassSettings &c) {
  return {
      {default_class, "groups", NamesField{&c.groups},
       "The groups whose members belong to the class; not for the default class."},
      {default_class, "time-limit", NumberField{&c.time_limit_s, 1, 7 * day_s, "seconds"},
       "A job that takes longer gets SIGTERM."},
      {default_class, "grace", NumberField{&c.grace_s, 0, 600, "seconds"}, "The time between SIGTERM and SIGKILL."},
      {default_class, "memory", NumberField{&c.memory_mib, least_memory_bytes >> 20, 1 << 24, "MiB", true},
       "Memory of a run; 0: no limit."},
      {default_class, "tasks", NumberField{&c.tasks, 1, 1 << 22, "", true},
       "Processes and threads of a run; 0: no limit."},
      {default_class, "cpu", NumberField{&c.cpu_percent, 1, 100000, "percent of one processor", true},
       "Processor time of a run, if control groups can be used; 0: no limit."},
      {default_class, "output", NumberField{&c.output_kib, 1, 8 * 1024, "KiB"},
       "The output that is kept of a job; the rest is only counted."},
      {default_class, "nice", NumberField{&c.nice, -20, 19, ""}, "The jobs' nice value."},
      {default_class, "leave-daemons", FlagField{&c.leave_daemons},
       "Do not kill processes that still run when their job has ended."},
  };
}

std::string value_of(const Key &key) {
  return std::visit(Value(), key.field);
}

std::string allowed_for(const Key &key) {
  return std::visit(Allowed(), key.field);
}

std::optional<std::string> set_value(const Key &key, const std::string &text) {
  if (std::visit(Set{text}, key.field)) return std::nullopt;
  return "'" + text + "' is not allowed for " + key.name + "; it takes " + allowed_for(key);
}

std::string default_file() {
  std::string file =
      "# Settings of schedd. 'schedd --check' reports errors in this file; after SIGHUP the service reads it again.\n"
      "# Values that are commented out are the defaults.\n";
  Settings settings;
  append_keys(&file, keys_of(settings));
  file += "\n# A further group [class NAME] is for the members of its groups; what it does not set is as in this one.";
  append_keys(&file, class_keys_of(settings.classes.front()));
  return file;
}

}  // namespace service
