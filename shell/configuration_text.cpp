// SPDX-License-Identifier: Apache-2.0
#include "shell/configuration_text.h"

#include <algorithm>
#include <deque>
#include <map>
#include <optional>
#include <utility>

#include "control/lines.h"
#include "shell/job_body.h"
#include "shell/parse.h"
#include "shell/time_text.h"
#include "shell/words.h"

namespace shell {

namespace {

struct Statement {
  std::string text;
  size_t line = 0;
};

struct Job {
  std::string name, text;
  size_t line = 0;       // its first line
  size_t text_line = 0;  // the first line of its text
};

struct Schedule {
  std::string name;
  size_t line = 0;
  std::vector<Statement> jobs, addresses;
  std::optional<Statement> time, disabled;
};

// The command's words up to its first parameter or option.
std::string subject_of(const Command &command) {
  const std::string_view syntax = command.syntax;
  const std::string_view words = syntax.substr(0, syntax.find_first_of("<["));
  return std::string(words.substr(0, words.find_last_not_of(' ') + 1));
}

std::string lines_of(std::string_view commands) {
  std::string text;
  while (!commands.empty()) {
    const std::string_view command = commands.substr(0, commands.find(';'));
    text += std::string(command) + "\n";
    commands.remove_prefix(std::min(command.size() + 1, commands.size()));
  }
  return text;
}

// The settings before the jobs, in the order in which the service writes them.
constexpr std::string_view settings_before[] = {"scheduler logfile size", "scheduler logfile name",
                                                "scheduler transport email from", "scheduler transport email reply-to",
                                                "scheduler transport email smtp-server"};
constexpr std::string_view setting_behind = "logging level scheduler";
constexpr const char *feature_setting = "feature scheduler";

bool is_setting(std::string_view subject) {
  return subject == feature_setting || subject == setting_behind ||
         std::ranges::find(settings_before, subject) != std::end(settings_before);
}

class Reader {
 public:
  ConfigurationText read(std::string_view input) {
    while (!input.empty()) {
      number_++;
      const std::string_view line = control::cut_line(&input);
      take(line);
    }
    if (body_) object("the input ends before the 'end-job' of job " + body_->name());
    write();
    return std::move(result_);
  }

 private:
  void object(const std::string &problem) { result_.problems.push_back({number_, problem}); }

  void take(std::string_view line) {
    if (body_) return take_body(line);
    if (line.ends_with('\r')) line.remove_suffix(1);
    if (is_idle_line(line)) return;
    if (const size_t control = find_control(line); control != line.npos)
      return object("a control character at column " + std::to_string(control + 1));
    Scope scope;
    if (schedule_ != nullptr) scope.modes.push_back(Mode::schedule);
    scope.modes.insert(scope.modes.end(), {Mode::config, Mode::exec});
    const Parsed parsed = parse(line, scope);
    if (!parsed.match) return object(describe(parsed.problem));
    if (!take_command(subject_of(*parsed.match->command), *parsed.match))
      object("\"" + std::string(line) + "\" is no part of a configuration");
  }

  void take_body(std::string_view line) {
    const JobBody::Close close = body_->add(line);
    if (close == JobBody::Close::open) return;
    if (!body_->problem().empty()) object(body_->problem());
    jobs_.back().text = body_->text();
    body_.reset();
  }

  bool take_command(const std::string &subject, const Match &match) {
    if (match.command->mode == Mode::schedule) return take_of_schedule(subject, match);
    if (subject == "scheduler disable schedule" || subject == "scheduler enable schedule")
      return set_disabled(*match.value("schedule"), subject.starts_with("scheduler disable"));
    schedule_ = nullptr;
    if (subject == "configure terminal" || subject == "end" || subject == "exit") return true;
    if (subject == "scheduler job name") return begin_job(match);
    if (subject == "scheduler schedule name") return begin_schedule(*match.value("schedule"));
    if (subject == "scheduler aaa-authentication") return take_password(match);
    return take_setting(subject, match);
  }

  bool take_password(const Match &match) {
    const std::string *user = match.value("user"), *sealed = match.value("sealed");
    if (user == nullptr || sealed == nullptr)
      object("a text has passwords with their users and sealed: username NAME password 7 TEXT");
    else
      passwords_[*user] = {"username " + *user + " password 7 " + *sealed, number_};
    return true;
  }

  bool take_setting(const std::string &subject, const Match &match) {
    if (subject == "no feature scheduler") {
      settings_[feature_setting] = {subject, number_};
      return true;
    }
    if (!is_setting(subject)) return false;
    std::string text = subject;
    if (match.value("host") != nullptr && match.value("port") == nullptr) text += " ";
    for (const Argument &argument : match.arguments) {
      const std::string name = argument.parameter->name;
      if (name == "port" || name == "vrf") text += " " + name;
      text += " " + argument.value;
    }
    settings_[subject] = {text, number_};
    return true;
  }

  bool begin_job(const Match &match) {
    const std::string &name = *match.value("job");
    jobs_.push_back({name, "", number_, number_ + 1});
    if (const std::string *commands = match.value("commands")) {
      jobs_.back().text = lines_of(*commands);
      jobs_.back().text_line = 0;
    } else {
      body_.emplace(name, false);
    }
    return true;
  }

  bool begin_schedule(const std::string &name) {
    schedule_ = find(name);
    if (schedule_ != nullptr) return true;
    schedules_.push_back({name, number_, {}, {}, {}, {}});
    schedule_ = &schedules_.back();
    return true;
  }

  Schedule *find(const std::string &name) {
    const auto found = std::ranges::find(schedules_, name, &Schedule::name);
    return found == schedules_.end() ? nullptr : &*found;
  }

  bool set_disabled(const std::string &name, bool disabled) {
    Schedule *schedule = find(name);
    if (schedule == nullptr) object("schedule " + name + " is not defined before");
    if (schedule != nullptr) schedule->disabled = disabled ? std::optional(Statement{"", number_}) : std::nullopt;
    return true;
  }

  bool take_of_schedule(const std::string &subject, const Match &match) {
    if (subject == "job name") {
      schedule_->jobs.push_back({*match.value("job"), number_});
    } else if (subject == "email-addr") {
      schedule_->addresses.push_back({*match.value("address"), number_});
    } else if (subject.starts_with("time ")) {
      const host::Result<std::string> time = time_text(subject, match);
      schedule_->time = Statement{time ? *time : "", number_};
      if (!time) object(time.error().text);
    } else {
      return false;
    }
    return true;
  }

  void add(const std::string &line, size_t origin) {
    result_.text += std::exchange(before_line_, "") + line + "\n";
    result_.lines.push_back(origin);
  }

  // While the feature is disabled commands are refused: so it is disabled behind everything else.
  void write() {
    const auto feature = settings_.extract(feature_setting);
    const bool disables = !feature.empty() && feature.mapped().text != feature_setting;
    const bool bare = settings_.empty() && passwords_.empty() && jobs_.empty() && schedules_.empty();
    if (!feature.empty() && !(disables && bare)) add(std::string(feature_setting), feature.mapped().line);
    write_rest();
    if (disables) add(feature.mapped().text, feature.mapped().line);
  }

  void write_rest() {
    for (const std::string_view subject : settings_before)
      write_setting(subject);
    for (const auto &[user, password] : passwords_)
      add("scheduler aaa-authentication " + password.text, password.line);
    for (const Job &job : jobs_)
      write(job);
    for (const Schedule &schedule : schedules_)
      write(schedule);
    write_setting(setting_behind);
  }

  // Blank lines and double blanks as in the service's layout.
  void write_setting(std::string_view subject) {
    const auto found = settings_.find(subject);
    if (found == settings_.end()) return;
    add(found->second.text, found->second.line);
    if (subject.starts_with("scheduler logfile ")) add("", found->second.line);
  }

  void write(const Job &job) {
    add("scheduler job name " + job.name, job.line);
    size_t line = job.text_line;
    for (std::string_view rest = job.text; !rest.empty();) {
      const std::string_view text = control::cut_line(&rest);
      add(std::string(text), line == 0 ? job.line : line++);
    }
    add("end-job", job.line);
    add("", job.line);
  }

  void write(const Schedule &schedule) {
    add("scheduler schedule name " + schedule.name, schedule.line);
    for (const Statement &job : schedule.jobs)
      add(" job name " + job.text, job.line);
    if (schedule.time)
      add("  time " + schedule.time->text, schedule.time->line);
    else
      before_line_ = "  ";  // the layout of a schedule without a time
    for (const Statement &address : schedule.addresses)
      add("email-addr " + address.text, address.line);
    if (schedule.disabled) add("scheduler disable schedule " + schedule.name, schedule.disabled->line);
    add("", schedule.line);
  }

  ConfigurationText result_;
  std::string before_line_;
  size_t number_ = 0;
  std::map<std::string, Statement, std::less<>> settings_;
  std::map<std::string, Statement> passwords_;  // by their users
  std::vector<Job> jobs_;
  std::deque<Schedule> schedules_;  // `schedule_` points into it
  Schedule *schedule_ = nullptr;    // whose block is being read
  std::optional<JobBody> body_;
};

}  // namespace

ConfigurationText read_configuration_text(std::string_view input) {
  return Reader().read(input);
}

}  // namespace shell
