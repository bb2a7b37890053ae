// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <charconv>
#include <cstdint>
#include <set>
#include <utility>

#include "control/lines.h"
#include "host/files/uri.h"
#include "host/security/seal.h"
#include "host/security/users.h"
#include "host/visible.h"
#include "schedcli_requests.h"
#include "service/configuration/text.h"
#include "service/configuration/time_line.h"
#include "service/request/decode.h"

namespace service {
namespace {

template <typename Number>
bool read_number(std::string_view text, Number first, Number last, Number *number) {
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), *number);
  return error == std::errc() && end == text.data() + text.size() && *number >= first && *number <= last;
}

bool is_plain_word(std::string_view word, size_t size) {
  return !word.empty() && word.size() < size &&
         std::all_of(word.begin(), word.end(), [](char c) { return c > ' ' && c < 0x7f; });
}

bool skip(std::string_view beginning, std::string_view *rest) {
  if (!rest->starts_with(beginning)) return false;
  rest->remove_prefix(beginning.size());
  return true;
}

std::string_view take_word(std::string_view *rest) {
  rest->remove_prefix(std::min(rest->find_first_not_of(' '), rest->size()));
  const std::string_view word = rest->substr(0, rest->find(' '));
  rest->remove_prefix(word.size());
  return word;
}

class Reader {
 public:
  Reader(Owners owners, const GlobalSettings &base) : owners_(owners) { result_.configuration.settings = base; }

  ConfigurationRead read(std::string_view text) {
    while (!text.empty()) {
      number_++;
      const std::string_view line = control::cut_line(&text);
      take(line);
    }
    if (job_ != nullptr) object("the text ends before the job's 'end-job'");
    return std::move(result_);
  }

 private:
  void take(std::string_view line) {
    if (job_ != nullptr) return take_job_line(line);
    if (schedule_ != nullptr && take_schedule_line(line)) return;
    schedule_ = nullptr;
    take_line(line);
  }

  void object(const std::string &problem) { result_.problems.push_back({number_, problem}); }

  void require(bool right, std::string_view what, std::string_view value) {
    if (!right) object("\"" + host::visible(value) + "\" is no " + std::string(what));
  }

  void take_job_line(std::string_view line) {
    if (line == "end-job") {
      check_text(*job_);
      job_ = nullptr;
      return;
    }
    job_->text += line;
    job_->text += '\n';
  }

  void check_text(const JobBlock &job) {
    const size_t line = std::exchange(number_, job.line);
    if (job.text.size() > SCH_JOB_TEXT_LIMIT) object("the text of job " + job.name + " is too long");
    if (job.text.find('\0') != std::string::npos || host::find_control(job.text))
      object("the text of job " + job.name + " has a control character");
    number_ = line;
  }

  // False: the line does not belong to the schedule's block.
  bool take_schedule_line(std::string_view line) {
    if (line.empty()) return false;
    line.remove_prefix(std::min(line.find_first_not_of(' '), line.size()));
    if (line.empty()) return true;  // a schedule without a time has a line of two blanks
    struct Row {
      std::string_view beginning;
      void (Reader::*take)(std::string_view);
    };
    constexpr Row rows[] = {
        {"job name ", &Reader::take_assigned}, {"time ", &Reader::take_time}, {"email-addr ", &Reader::take_address}};
    for (const Row &row : rows)
      if (skip(row.beginning, &line)) {
        (this->*row.take)(line);
        return true;
      }
    if (line != "scheduler disable schedule " + schedule_->name) return false;
    schedule_->enabled = false;
    return true;
  }

  void take_assigned(std::string_view name) {
    require(is_name(name), "job's name", name);
    if (std::ranges::find(schedule_->jobs, name) != schedule_->jobs.end())
      object("job " + host::visible(name) + " is assigned twice");
    schedule_->jobs.emplace_back(name);
  }

  void take_time(std::string_view line) {
    if (!schedule_->time.empty()) object("the schedule has two times");
    const host::Result<sch_tminfo> time = read_time_line(line);
    if (!time) object(host::visible(time.error().text));
    schedule_->time = time ? time_line(*time) : std::string(line);
  }

  void take_address(std::string_view address) {
    require(is_plain_word(address, SCH_ADDRESS_SIZE), "e-mail address", address);
    if (std::ranges::find(schedule_->addresses, address) != schedule_->addresses.end())
      object("address " + host::visible(address) + " is given twice");
    schedule_->addresses.emplace_back(address);
    if (schedule_->addresses.size() > SCH_MAX_EMAIL_IDS)
      object("a schedule has at most " + std::to_string(SCH_MAX_EMAIL_IDS) + " addresses");
  }

  void take_line(std::string_view line) {
    std::string_view rest = line;
    if (rest.find_first_not_of(' ') == std::string_view::npos) return;
    if (rest.front() == '!') return take_comment(rest);
    if (skip("scheduler job name ", &rest)) return begin_job(rest);
    if (skip("scheduler schedule name ", &rest)) return begin_schedule(rest);
    if (!take_setting(line)) object("\"" + host::visible(line) + "\" is no line of a configuration");
  }

  void take_comment(std::string_view rest) {
    uid_t uid = 0;
    if (owners_ == Owners::omitted || !skip("! owner: ", &rest)) return;
    const std::string_view number = take_word(&rest), name = take_word(&rest);
    require(read_number<uid_t>(number, 0, UINT32_MAX - 2, &uid), "owner", number);
    owner_ = {uid + 1, std::string(name)};
  }

  void begin_job(std::string_view name) {
    require(is_name(name), "job's name", name);
    if (!job_names_.emplace(name).second) object("job " + host::visible(name) + " is defined twice");
    job_ =
        &result_.configuration.jobs.emplace_back(JobBlock{std::string(name), "", std::exchange(owner_, {}), number_});
  }

  void begin_schedule(std::string_view name) {
    require(is_name(name), "schedule's name", name);
    if (!schedule_names_.emplace(name).second) object("schedule " + host::visible(name) + " is defined twice");
    schedule_ = &result_.configuration.schedules.emplace_back(
        ScheduleBlock{std::string(name), "", {}, {}, true, std::exchange(owner_, {}), number_});
  }

  bool take_setting(std::string_view line) {
    GlobalSettings &settings = result_.configuration.settings;
    std::string_view rest = line;
    if (line == "feature scheduler" || line == "no feature scheduler") {
      settings.feature = line.front() == 'f';
      return true;
    }
    if (skip("scheduler logfile size ", &rest)) {
      constexpr int32_t unit = SCH_LOG_SIZE_UNIT;
      require(read_number<int32_t>(rest, SCH_LOG_SIZE_MIN / unit, SCH_LOG_SIZE_MAX / unit, &settings.log_kilobytes),
              "size of the log", rest);
      return true;
    }
    if (skip("scheduler logfile name ", &rest)) return take_log_uri(rest);
    if (skip("logging level scheduler ", &rest)) {
      require(read_number<int32_t>(rest, 0, 7, &settings.logging_level), "logging level", rest);
      return true;
    }
    if (skip("scheduler aaa-authentication username ", &rest)) return take_password(rest);
    return skip("scheduler transport email ", &rest) && take_transport(rest);
  }

  bool take_password(std::string_view rest) {
    PasswordLine password = {std::string(take_word(&rest)), "", number_};
    if (!skip(" password 7 ", &rest)) return false;
    password.sealed = rest;
    require(host::is_user_name(password.user), "user's name", password.user);
    require(password.sealed.size() == host::sealed_length && is_plain_word(rest, SIZE_MAX), "sealed password", rest);
    const auto is_same = [&](const PasswordLine &other) { return other.user == password.user; };
    if (std::ranges::any_of(result_.passwords, is_same)) object(password.user + " has two passwords");
    result_.passwords.push_back(std::move(password));
    return true;
  }

  bool take_log_uri(std::string_view uri) {
    if (const host::Result<host::FileUri> parsed = host::parse_file_uri(uri); !parsed)
      object(host::visible(parsed.error().text));
    result_.configuration.settings.log_uri = uri;
    return true;
  }

  bool take_transport(std::string_view rest) {
    GlobalSettings &settings = result_.configuration.settings;
    if (skip("smtp-server ", &rest)) return take_server(rest);
    const bool is_from = skip("from ", &rest);
    if (!is_from && !skip("reply-to ", &rest)) return false;
    require(is_plain_word(rest, SCH_ADDRESS_SIZE), "e-mail address", rest);
    (is_from ? settings.mail_from : settings.mail_reply_to) = rest;
    return true;
  }

  bool take_server(std::string_view rest) {
    MailServer &server = result_.configuration.settings.mail_server;
    server = {};
    server.host = take_word(&rest);
    require(is_plain_word(server.host, sizeof sch_smtp_server_rec::server), "host", server.host);
    if (skip(" port ", &rest)) {
      const std::string_view port = take_word(&rest);
      require(read_number<uint32_t>(port, 1, 65535, &server.port), "port", port);
    }
    if (skip(" vrf ", &rest)) server.vrf = take_word(&rest);
    if (!server.vrf.empty()) require(is_plain_word(server.vrf, sizeof sch_smtp_server_rec::vrf), "VRF", server.vrf);
    if (server.vrf == SCH_SMTP_VRF_DEFAULT) server.vrf.clear();
    require(rest.empty(), "setting of a mail server", rest);
    return true;
  }

  Owners owners_;
  ConfigurationRead result_;
  size_t number_ = 0;
  JobBlock *job_ = nullptr;  // the last job, while the lines of its text are read
  ScheduleBlock *schedule_ = nullptr;
  OwnerName owner_;
  std::set<std::string, std::less<>> job_names_, schedule_names_;
};

}  // namespace

ConfigurationRead read_configuration(std::string_view text, Owners owners, const GlobalSettings &base) {
  return Reader(owners, base).read(text);
}

}  // namespace service
