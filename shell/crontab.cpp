// SPDX-License-Identifier: Apache-2.0
#include "shell/crontab.h"

#include <algorithm>
#include <cctype>
#include <optional>
#include <utility>

#include "control/lines.h"
#include "schedcli.h"
#include "shell/crontab_fields.h"
#include "shell/job_body.h"

namespace shell {

namespace {

constexpr std::string_view blanks_of_line = " \t";
constexpr std::string_view input_end = "END-OF-INPUT";

std::string_view trimmed(std::string_view text) {
  const size_t first = text.find_first_not_of(blanks_of_line);
  if (first == text.npos) return {};
  return text.substr(first, text.find_last_not_of(" \t\r") - first + 1);
}

std::string_view take_word(std::string_view *rest) {
  rest->remove_prefix(std::min(rest->find_first_not_of(blanks_of_line), rest->size()));
  const std::string_view word = rest->substr(0, rest->find_first_of(blanks_of_line));
  rest->remove_prefix(word.size());
  return word;
}

using Setting = std::pair<std::string, std::string>;

// Parses NAME = VALUE; either may be quoted.
std::optional<Setting> setting_in(std::string_view line) {
  const size_t equals = line.find('=');
  if (equals == line.npos) return std::nullopt;
  const auto unquoted = [](std::string_view text) {
    const bool quoted = text.size() > 1 && (text.front() == '"' || text.front() == '\'') && text.back() == text.front();
    return std::string(quoted ? text.substr(1, text.size() - 2) : text);
  };
  const std::string name = unquoted(trimmed(line.substr(0, equals)));
  const auto fits = [](char c) { return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_'; };
  if (name.empty() || std::isdigit(static_cast<unsigned char>(name[0])) != 0 || !std::ranges::all_of(name, fits))
    return std::nullopt;
  return Setting(name, unquoted(trimmed(line.substr(equals + 1))));
}

// A shell command that exports the setting. cron expands nothing in the value, so it is quoted.
std::string exported(const Setting &setting) {
  std::string value;
  for (const char c : setting.second)
    value += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return "export " + setting.first + "='" + value + "'\n";
}

// A line that the input does not have.
std::string end_of(const std::string &input) {
  std::string end(input_end);
  while (("\n" + input).find("\n" + end + "\n") != input.npos)
    end += '-';
  return end;
}

// In a crontab the first unescaped '%' ends the command; what follows is its standard input, in which further '%' are
// newlines.
std::string command_lines(std::string_view command) {
  std::string lines, input;
  std::string *part = &lines;
  for (size_t i = 0; i < command.size(); i++) {
    if (command[i] == '\\' && i + 1 < command.size() && command[i + 1] == '%') {
      *part += command[++i];
    } else if (command[i] != '%') {
      *part += command[i];
    } else if (part == &lines) {
      part = &input;
    } else {
      *part += '\n';
    }
  }
  if (part == &lines) return lines + "\n";
  input += '\n';
  const std::string end = end_of(input);
  return lines + " <<'" + end + "'\n" + input + end + "\n";
}

// Why a job cannot have this text; empty: it can.
std::string objection_to_job(std::string_view text) {
  JobBody body("", false);
  while (!text.empty()) {
    const std::string_view line = control::cut_line(&text);
    if (body.add(line) != JobBody::Close::open) return "a line '" + std::string(line) + "' would end the job";
  }
  return body.problem();
}

bool looks_like_address(std::string_view text) {
  return text.find('@') != text.npos && text.size() < SCH_ADDRESS_SIZE &&
         std::ranges::all_of(text, [](char c) { return c > ' ' && c < 0x7f; });
}

std::string stem_of(const std::string &file) {
  constexpr size_t room = 12;  // of a name's 31 characters, the rest for the numbers of line and schedule
  std::string stem;
  for (const char c : file.substr(file.rfind('/') + 1)) {
    const bool fits = std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_' || c == '-';
    stem += fits ? c : '-';
  }
  return "cron-" + stem.substr(0, room);
}

class Table {
 public:
  Table(const CrontabSource &source, CrontabImport *import) : source_(source), import_(import) {}

  void add(std::string_view text) {
    while (!text.empty()) {
      number_++;
      const std::string_view line = control::cut_line(&text);
      take(trimmed(line));
    }
    import_->configuration += jobs_ + schedules_;
  }

 private:
  std::string place() const { return source_.file + ":" + std::to_string(number_); }
  void leave_out(const std::string &why) { import_->left_out.push_back({place(), why}); }
  void note(const std::string &text) { import_->notes.push_back({place(), text}); }

  void take(std::string_view line) {
    if (line.empty() || line.front() == '#') return;
    if (const std::optional<Setting> setting = setting_in(line); setting && !looks_like_entry(line))
      return take_setting(*setting);
    take_entry(line);
  }

  static bool looks_like_entry(std::string_view line) {
    return std::isdigit(static_cast<unsigned char>(line.front())) != 0 || line.front() == '*' || line.front() == '@';
  }

  void take_setting(const Setting &setting) {
    const auto &[name, value] = setting;
    if (name == "CRON_TZ") return note("CRON_TZ=" + value + " is left out: schedules are due by the service's zone");
    if (name == "MAILTO") return take_mail(value);
    if (name == "SHELL") note("SHELL=" + value + ": jobs run by the service's interpreter; the line is kept for them");
    std::erase_if(settings_, [&](const Setting &known) { return known.first == setting.first; });
    settings_.push_back(setting);
  }

  void take_mail(const std::string &value) {
    addresses_.clear();
    std::string_view rest = value;
    while (!rest.empty()) {
      const std::string address(trimmed(rest.substr(0, rest.find(','))));
      rest.remove_prefix(std::min(rest.find(','), rest.size() - 1) + 1);
      if (address.empty() || std::ranges::find(addresses_, address) != addresses_.end()) continue;
      if (!looks_like_address(address))
        note("mail to " + address + " is left out: an address has a host");
      else if (addresses_.size() == SCH_MAX_EMAIL_IDS)
        note("mail to " + address + " is left out: a schedule has no more than " + std::to_string(SCH_MAX_EMAIL_IDS) +
             " addresses");
      else
        addresses_.push_back(address);
    }
  }

  void take_entry(std::string_view line) {
    const host::Result<CrontabTime> time = take_time(&line);
    if (!time) return leave_out(time.error().text);
    if (source_.has_users) {
      const std::string user(take_word(&line));
      if (user != source_.user)
        return leave_out("it runs as " + user + ", and a job runs as the user who configures it; nearest: " + user +
                         " imports the line, or the command is runuser -u " + user);
    }
    const std::string_view command = trimmed(line);
    if (command.empty()) return leave_out("it has no command");
    const host::Result<std::vector<std::string>> times = schedule_times(*time);
    if (!times) return leave_out(times.error().text);
    configure(command, *times);
  }

  static host::Result<CrontabTime> take_time(std::string_view *line) {
    if (line->front() == '@') return read_crontab_name(std::string(take_word(line)));
    std::vector<std::string> fields(5);
    for (std::string &field : fields)
      field = take_word(line);
    return read_crontab_time(fields);
  }

  void configure(std::string_view command, const std::vector<std::string> &times) {
    const std::string name = stem_of(source_.file) + "-" + std::to_string(number_);
    std::string text;
    for (const Setting &setting : settings_)
      text += exported(setting);
    text += command_lines(command);
    if (const std::string why = objection_to_job(text); !why.empty()) return leave_out(why);
    jobs_ += "scheduler job name " + name + "\n" + text + "end-job\n\n";
    for (size_t i = 0; i < times.size(); i++)
      add_schedule(times.size() == 1 ? name : name + "-" + std::to_string(i + 1), name, times[i]);
  }

  void add_schedule(const std::string &name, const std::string &job, const std::string &time) {
    schedules_ += "scheduler schedule name " + name + "\n job name " + job + "\n  time " + time + "\n";
    for (const std::string &address : addresses_)
      schedules_ += "email-addr " + address + "\n";
    schedules_ += "\n";
  }

  const CrontabSource &source_;
  CrontabImport *import_;
  size_t number_ = 0;
  std::vector<Setting> settings_;
  std::vector<std::string> addresses_;
  std::string jobs_, schedules_;
};

}  // namespace

void add_crontab(const CrontabSource &source, std::string_view text, CrontabImport *import) {
  Table(source, import).add(text);
}

}  // namespace shell
