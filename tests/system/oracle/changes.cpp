// SPDX-License-Identifier: Apache-2.0
#include "tests/system/oracle/changes.h"

#include "control/operations.h"
#include "host/files/uri.h"
#include "tests/system/oracle/requests.h"

namespace oracle {
namespace {

using control::Operation;

const std::string from_setting = "scheduler transport email from ",
                  reply_to_setting = "scheduler transport email reply-to ",
                  server_setting = "scheduler transport email smtp-server ", size_setting = "scheduler logfile size ",
                  name_setting = "scheduler logfile name ", level_setting = "logging level scheduler ",
                  password_head = "the password of ";
constexpr int32_t usual_level = 5;

void nothing(Facts &) {}

Effect adds(const std::string &fact) {
  return [fact](Facts &facts) { facts.insert(fact); };
}

void remove_beginning_with(const std::string &words, Facts *facts) {
  std::erase_if(*facts, [&](const std::string &fact) { return fact.starts_with(words); });
}

Effect removes(const std::string &words) {
  return [words](Facts &facts) { remove_beginning_with(words, &facts); };
}

// In place of what begins with these words.
Effect sets(const std::string &words, const std::string &fact) {
  return [words, fact](Facts &facts) {
    remove_beginning_with(words, &facts);
    facts.insert(fact);
  };
}

void rename_in(Facts *facts, const std::string &words, const std::string &new_words) {
  Facts renamed;
  for (const std::string &fact : *facts)
    renamed.insert(fact.starts_with(words) ? new_words + fact.substr(words.size()) : fact);
  *facts = renamed;
}

// Passwords are no part of a kept or saved configuration, and stay.
bool stays(const std::string &fact) {
  return fact.starts_with(of_startup) || fact.starts_with(password_head);
}

Effect becomes(const Facts &wanted) {
  return [wanted](Facts &facts) {
    Facts whole = wanted;
    for (const std::string &fact : facts)
      if (stays(fact) && !whole.contains(fact)) whole.insert(fact);
    facts = whole;
  };
}

Change config(uint32_t opcode, const std::string &payload, Effect effect) {
  return {{SCH_SERVICE_CONFIG, opcode}, payload, std::move(effect)};
}

Change control(Operation operation, const std::string &payload, Effect effect) {
  return {{host::service_control, static_cast<uint32_t>(operation)}, payload, std::move(effect)};
}

Change rename(control::ObjectKind kind, const std::string &from, const std::string &to, Effect effect) {
  return control(Operation::rename, bytes_of(kind) + from + '\0' + to, std::move(effect));
}

std::string job_line(const std::string &schedule, const std::string &job) {
  return schedule_fact(schedule, "job name " + job);
}

std::string disabled_line(const std::string &schedule) {
  return schedule_fact(schedule, "scheduler disable schedule " + schedule);
}

std::string two_digits(int number) {
  return (number < 10 ? "0" : "") + std::to_string(number);
}

}  // namespace

Change create_job(const std::string &name) {
  return config(SCH_OP_CREATE_JOB, job_text(name, ""), adds(job_fact(name, "")));
}
Change define_job(const std::string &name, const std::string &text) {
  return config(SCH_OP_DEFINE_JOB, job_text(name, text), sets(job_fact(name, ""), job_fact(name, text)));
}
Change delete_job(const std::string &name) {
  return config(SCH_OP_DELETE_JOB, job_text(name, "", true), [name](Facts &facts) {
    remove_beginning_with(job_fact(name, ""), &facts);
    std::erase_if(facts, [&](const std::string &fact) { return fact.ends_with(": job name " + name); });
  });
}

Change create_schedule(const std::string &name) {
  return config(SCH_OP_CREATE_SCHEDULE, named(name), adds(schedule_fact(name)));
}
Change delete_schedule(const std::string &name) {
  return config(SCH_OP_DELETE_SCHEDULE, named(name, true), [name](Facts &facts) {
    facts.erase(schedule_fact(name));
    remove_beginning_with(schedule_fact(name, ""), &facts);
  });
}

Change give_time(const std::string &schedule, int hour, int minute) {
  const std::string time = two_digits(hour) + ":" + two_digits(minute);
  return config(SCH_OP_MODIFY_SCHEDULE, each_day(schedule, hour, minute),
                sets(schedule_fact(schedule, "time "), schedule_fact(schedule, "time daily " + time)));
}
Change take_time(const std::string &schedule) {
  return config(SCH_OP_MODIFY_SCHEDULE, no_time(schedule), removes(schedule_fact(schedule, "time ")));
}

Change assign(const std::string &schedule, const std::string &job) {
  return config(SCH_OP_MODIFY_SCHEDULE, assignment(schedule, job), adds(job_line(schedule, job)));
}
Change deassign(const std::string &schedule, const std::string &job) {
  return config(SCH_OP_MODIFY_SCHEDULE, assignment(schedule, job, true), removes(job_line(schedule, job)));
}

Change add_address(const std::string &schedule, const std::string &address) {
  return config(SCH_OP_SCHEDULE_EMAIL, address_of(schedule, address, true),
                adds(schedule_fact(schedule, "email-addr " + address)));
}
Change remove_address(const std::string &schedule, const std::string &address) {
  return config(SCH_OP_SCHEDULE_EMAIL, address_of(schedule, address, false),
                removes(schedule_fact(schedule, "email-addr " + address)));
}

Change rename_schedule(const std::string &from, const std::string &to) {
  return rename(control::ObjectKind::schedule, from, to, [from, to](Facts &facts) {
    rename_in(&facts, schedule_fact(from), schedule_fact(to));
    rename_in(&facts, schedule_fact(from, ""), schedule_fact(to, ""));
  });
}
Change rename_job(const std::string &from, const std::string &to) {
  return rename(control::ObjectKind::job, from, to,
                [from, to](Facts &facts) { rename_in(&facts, job_fact(from, ""), job_fact(to, "")); });
}

Change enable(const std::string &schedule) {
  return control(Operation::enable_schedule, schedule, removes(disabled_line(schedule)));
}
Change disable(const std::string &schedule) {
  return control(Operation::disable_schedule, schedule, adds(disabled_line(schedule)));
}

Change resize_log(uint32_t kilobytes) {
  return config(SCH_OP_RESIZE_LOG, log_size(kilobytes), sets(size_setting, size_setting + std::to_string(kilobytes)));
}
Change move_log(const std::string &uri) {
  const std::string path = host::file_uri_path(*host::parse_file_uri(uri));
  return config(SCH_OP_RENAME_LOG, log_name(uri, path), sets(name_setting, name_setting + uri));
}
Change clear_log() {
  return config(SCH_OP_CLEAR_LOG, bytes_of(sch_log_file_request{}), nothing);
}

Change set_mail_from(const std::string &address) {
  return config(SCH_OP_SET_EMAIL_FROM, mail_from(address), sets(from_setting, from_setting + address));
}
Change clear_mail_from() {
  return config(SCH_OP_CLEAR_EMAIL_FROM, mail_from(""), removes(from_setting));
}
Change set_mail_reply_to(const std::string &address) {
  return config(SCH_OP_SET_EMAIL_REPLYTO, mail_reply_to(address), sets(reply_to_setting, reply_to_setting + address));
}
Change clear_mail_reply_to() {
  return config(SCH_OP_CLEAR_EMAIL_REPLYTO, mail_reply_to(""), removes(reply_to_setting));
}
Change set_mail_server(const std::string &host, uint32_t port) {
  return config(SCH_OP_SET_EMAIL_SMTP, mail_server(host, port),
                sets(server_setting, server_setting + host + " port " + std::to_string(port)));
}
Change clear_mail_server() {
  return config(SCH_OP_CLEAR_EMAIL_SMTP, mail_server("", SCH_SMTP_PORT_DEFAULT), removes(server_setting));
}

Change log_from_level(int32_t level) {
  return control(
      Operation::set_logging_level, bytes_of(level),
      level == usual_level ? removes(level_setting) : sets(level_setting, level_setting + std::to_string(level)));
}

Change store_password(const std::string &user, const std::string &clear) {
  return control(Operation::security_store, password(user, clear),
                 sets(password_fact(user, ""), password_fact(user, clear)));
}
Change remove_password(const std::string &user) {
  return control(Operation::security_remove, password(user, ""), removes(password_fact(user, "")));
}

Change switch_feature(bool on) {
  return on ? control(Operation::enable_feature, "", adds(feature_is_on))
            : control(Operation::disable_feature, "", [](Facts &facts) { facts.erase(feature_is_on); });
}

Change save_for_start() {
  return control(Operation::copy_running_startup, "", [](Facts &facts) {
    remove_beginning_with(of_startup, &facts);
    const Facts running = facts;
    for (const std::string &fact : running)
      if (!fact.starts_with(password_head)) facts.insert(of_startup + fact);
  });
}
Change erase_what_start_has() {
  return control(Operation::erase_startup, "", removes(of_startup));
}

Change send_text(const std::string &text) {
  return control(Operation::put_configuration, bytes_of(uint32_t{0}) + text, nothing);
}
Change replace_by_text(uint32_t number, const std::string &text) {
  return control(Operation::apply_configuration, replacement_by_text(number), becomes(facts_in(text)));
}
Change put_on_top(uint32_t number, const std::string &text) {
  return control(Operation::apply_configuration, replacement_on_top(number),
                 [added = facts_in(text)](Facts &facts) { facts.insert(added.begin(), added.end()); });
}
Change replace_until_confirmed(uint32_t number, const std::string &text, uint32_t minutes) {
  Facts wanted = facts_in(text);
  wanted.insert(awaits_confirmation);
  return control(Operation::apply_configuration, replacement_by_text(number, minutes), becomes(wanted));
}
Change replace_by_entry(uint32_t number, const std::string &text) {
  return control(Operation::apply_configuration, replacement_by_entry(number), becomes(facts_in(text)));
}
Change replace_by_what_start_has() {
  return control(Operation::apply_configuration, replacement_by_startup(), [](Facts &facts) {
    Facts wanted;
    for (const std::string &fact : facts)
      if (fact.starts_with(of_startup)) wanted.insert(fact.substr(std::string(of_startup).size()));
    becomes(wanted)(facts);
  });
}
Change confirm() {
  return control(Operation::confirm_configuration, "", removes(awaits_confirmation));
}

}  // namespace oracle
