// SPDX-License-Identifier: Apache-2.0
#include "tests/system/oracle/facts.h"

#include <sstream>
#include <stdexcept>

#include "control/statuses.h"
#include "host/security/seal.h"
#include "tests/system/oracle/requests.h"

namespace oracle {
namespace {

const std::string job_head = "scheduler job name ", schedule_head = "scheduler schedule name ",
                  password_head = "scheduler aaa-authentication username ";

std::string trimmed(const std::string &line) {
  const size_t first = line.find_first_not_of(' ');
  return first == std::string::npos ? "" : line.substr(first, line.find_last_not_of(' ') + 1 - first);
}

std::string text_until_end_of_job(std::istream &lines) {
  std::string text;
  for (std::string line; std::getline(lines, line) && line != "end-job";)
    text += line + "\n";
  return text;
}

void read_schedule(std::istream &lines, const std::string &name, Facts *facts) {
  facts->insert(schedule_fact(name));
  for (std::string line; std::getline(lines, line) && !trimmed(line).empty();)
    facts->insert(schedule_fact(name, trimmed(line)));
}

// Two that are sealed differently are the same password.
std::string opened(const std::string &line) {
  std::istringstream words(line.substr(password_head.size()));
  std::string user, word, form, sealed;
  words >> user >> word >> form >> sealed;
  host::ClearText clear;
  return password_fact(user, host::open_password(user, sealed, &clear) ? clear.c_str() : "what does not open");
}

bool see_text(Client &client, control::Operation operation, std::string *text) {
  const std::optional<Reply> reply = client.control(operation, "");
  if (!reply) return false;
  if (reply->status != 0 && reply->status != control::err_no_startup)
    throw std::runtime_error("the configuration is not shown: status " + std::to_string(reply->status));
  *text = reply->text();
  return true;
}

// A replacement by a text that nobody has sent is refused, for this reason first.
bool see_whether_confirmation_is_awaited(Client &client, Facts *facts) {
  const std::optional<Reply> reply =
      client.control(control::Operation::apply_configuration, replacement_by_text(0xffffffff));
  if (reply && reply->status == control::err_unconfirmed) facts->insert(awaits_confirmation);
  return reply.has_value();
}

}  // namespace

std::string job_fact(const std::string &name, const std::string &text) {
  return job_head + name + "\n" + text;
}

std::string schedule_fact(const std::string &name) {
  return schedule_head + name;
}

std::string schedule_fact(const std::string &name, const std::string &line) {
  return name + ": " + line;
}

std::string password_fact(const std::string &user, const std::string &clear) {
  return "the password of " + user + " is " + clear;
}

Facts facts_in(const std::string &configuration) {
  Facts facts;
  std::istringstream lines(configuration);
  for (std::string line; std::getline(lines, line);) {
    if (line.starts_with(job_head)) {
      const std::string name = line.substr(job_head.size());
      facts.insert(job_fact(name, text_until_end_of_job(lines)));
    } else if (line.starts_with(schedule_head)) {
      read_schedule(lines, line.substr(schedule_head.size()), &facts);
    } else if (line.starts_with(password_head)) {
      facts.insert(opened(line));
    } else if (line == "no feature scheduler") {
      facts.erase(feature_is_on);
    } else if (!line.empty()) {
      facts.insert(line);
    }
  }
  return facts;
}

std::optional<Facts> see_facts(Client &client) {
  std::string running, startup;
  if (!see_text(client, control::Operation::running_text, &running) ||
      !see_text(client, control::Operation::startup_text, &startup))
    return std::nullopt;
  Facts facts = facts_in(running);
  for (const std::string &fact : facts_in(startup))
    if (!fact.starts_with("the password of")) facts.insert(of_startup + fact);
  if (!see_whether_confirmation_is_awaited(client, &facts)) return std::nullopt;
  return facts;
}

bool is_switched_on(const Facts &facts, const std::string &schedule) {
  return facts.contains(feature_is_on) &&
         !facts.contains(schedule_fact(schedule, "scheduler disable schedule " + schedule));
}

}  // namespace oracle
