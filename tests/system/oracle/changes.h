// SPDX-License-Identifier: Apache-2.0
// Requests that change something, and what each does to the configuration.
#pragma once

#include <cstdint>
#include <string>
#include <utility>

#include "tests/system/oracle/configured.h"

namespace oracle {

using OperationOfService = std::pair<uint32_t, uint32_t>;  // the service, and what is asked of it

struct Change {
  OperationOfService operation;
  std::string payload;
  Effect effect;
};

Change create_job(const std::string &name);
Change define_job(const std::string &name, const std::string &text);
Change delete_job(const std::string &name);
Change create_schedule(const std::string &name);
Change delete_schedule(const std::string &name);
Change give_time(const std::string &schedule, int hour, int minute);  // of each day
Change take_time(const std::string &schedule);
Change assign(const std::string &schedule, const std::string &job);
Change deassign(const std::string &schedule, const std::string &job);
Change add_address(const std::string &schedule, const std::string &address);
Change remove_address(const std::string &schedule, const std::string &address);
Change rename_schedule(const std::string &from, const std::string &to);
Change rename_job(const std::string &from, const std::string &to);
Change enable(const std::string &schedule);
Change disable(const std::string &schedule);
Change resize_log(uint32_t kilobytes);
Change move_log(const std::string &uri);
Change clear_log();
Change set_mail_from(const std::string &address);
Change clear_mail_from();
Change set_mail_reply_to(const std::string &address);
Change clear_mail_reply_to();
Change set_mail_server(const std::string &host, uint32_t port);
Change clear_mail_server();
Change log_from_level(int32_t level);
Change store_password(const std::string &user, const std::string &clear);
Change remove_password(const std::string &user);
Change switch_feature(bool on);
Change save_for_start();
Change erase_what_start_has();
Change send_text(const std::string &text);                         // of a configuration; its number is answered
Change replace_by_text(uint32_t number, const std::string &text);  // the text was sent
Change put_on_top(uint32_t number, const std::string &text);       // settings, jobs and schedules that are new
Change replace_until_confirmed(uint32_t number, const std::string &text, uint32_t minutes);
Change replace_by_entry(uint32_t number, const std::string &text);  // of which this is the text
Change replace_by_what_start_has();
Change confirm();

}  // namespace oracle
