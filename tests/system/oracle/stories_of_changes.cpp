// SPDX-License-Identifier: Apache-2.0
// Every request that changes something, among runs that are due.
#include <sstream>

#include "tests/system/oracle/requests.h"
#include "tests/system/oracle/stories.h"

namespace oracle {
namespace {

void jobs_change(World &world) {
  world.change(create_job("other"));
  world.change(define_job("other", std::string(5000, 'x') + "\n"));
  world.to_next_minute();
  world.change(define_job("other", "short\n"));
  world.change(rename_job("other", "another"));
  world.change(delete_job("another"));
  world.settle();
}

void schedules_change(World &world) {
  world.change(create_schedule("other"));
  world.change(give_time("other", 4, 30));
  world.change(assign("other", "first"));
  world.to_next_minute();
  world.change(take_time("other"));
  world.change(deassign("other", "first"));
  world.change(delete_schedule("other"));
  world.settle();
}

void names_and_addresses_change(World &world) {
  world.change(create_schedule("other"));
  world.change(add_address("other", "root@localhost"));
  world.change(add_address("other", "second@localhost"));
  world.to_next_minute();
  world.change(rename_schedule("other", "another"));
  world.change(remove_address("another", "root@localhost"));
  world.change(remove_address("another", "second@localhost"));
  world.settle();
}

constexpr int64_t a_minute_and_a_half_ms = 90000;

void schedule_is_switched(World &world) {
  world.to_next_minute();
  world.settle();
  world.change(disable("A"));
  world.pass(a_minute_and_a_half_ms);
  world.change(enable("A"));
  world.to_next_minute();
  world.settle();
}

void feature_is_switched(World &world) {
  world.to_next_minute();
  world.settle();
  world.change(switch_feature(false));
  world.pass(a_minute_and_a_half_ms);
  world.change(switch_feature(true));
  world.to_next_minute();
  world.settle();
}

void log_changes(World &world) {
  world.change(resize_log(64));
  world.to_next_minute();
  world.change(clear_log());
  world.change(move_log(world.fresh_uri()));
  world.settle();
}

void mail_settings_change(World &world) {
  world.change(set_mail_from("from@example.net"));
  world.change(set_mail_reply_to("reply@example.net"));
  world.change(set_mail_server("mail.example.net", 2525));
  world.to_next_minute();
  world.change(clear_mail_from());
  world.change(clear_mail_reply_to());
  world.change(clear_mail_server());
  world.settle();
}

void logging_level_changes(World &world) {
  world.change(log_from_level(3));
  world.to_next_minute();
  world.change(log_from_level(5));
  world.settle();
}

void passwords_change(World &world) {
  world.change(store_password(world.user(), "a first password"));
  world.change(store_password(world.user(), "another"));
  world.to_next_minute();
  world.change(remove_password(world.user()));
  world.settle();
}

// With settings in both stores of each configuration.
void configuration_is_saved(World &world) {
  world.change(save_for_start());
  world.change(log_from_level(3));
  world.change(set_mail_from("from@example.net"));
  world.to_next_minute();
  world.change(save_for_start());
  world.change(log_from_level(4));
  world.change(clear_mail_from());
  world.change(replace_by_what_start_has());
  world.change(erase_what_start_has());
  world.settle();
}

std::string with_other_settings(const World &world) {
  return world.base_text() +
         "scheduler logfile size 64\nscheduler transport email from from@example.net\n"
         "scheduler job name other\ntext\nend-job\n\n"
         "scheduler schedule name other\n job name other\n  time daily 04:30\nemail-addr root@localhost\n"
         "scheduler disable schedule other\n\nlogging level scheduler 3\n";
}

std::optional<uint32_t> sent(World &world, const std::string &text) {
  const std::optional<Reply> reply = world.change(send_text(text));
  return reply && reply->status == 0 ? std::optional(record_of<uint32_t>(reply->text())) : std::nullopt;
}

// The newest kept configuration that is this one; nothing where there is none.
std::optional<uint32_t> kept(World &world, const std::string &text) {
  const auto history =
      world.client() == nullptr ? std::nullopt : world.client()->control(control::Operation::configuration_history, "");
  std::istringstream lines(history ? history->text() : "");
  for (std::string line; std::getline(lines, line);) {
    const auto number = static_cast<uint32_t>(std::strtoul(line.c_str(), nullptr, 10));
    if (number == 0) continue;
    const auto entry = world.client()->control(control::Operation::configuration_entry, bytes_of(number));
    if (entry && facts_in(entry->text()) == facts_in(text)) return number;
  }
  return std::nullopt;
}

void configuration_is_replaced(World &world) {
  world.change(create_job("goes"));
  const std::string text = with_other_settings(world);
  if (const auto number = sent(world, text)) world.change(replace_by_text(*number, text));
  world.to_next_minute();
  world.settle();
  const std::string on_top = "scheduler job name added\ntext\nend-job\n\nlogging level scheduler 3\n";
  if (const auto number = sent(world, on_top)) world.change(put_on_top(*number, on_top));
}

void configuration_is_rolled_back(World &world) {
  const std::string text = with_other_settings(world);
  if (const auto number = sent(world, text)) world.change(replace_by_text(*number, text));
  world.to_next_minute();
  world.settle();
  if (const auto number = kept(world, world.base_text())) world.change(replace_by_entry(*number, world.base_text()));
}

void configuration_is_confirmed(World &world) {
  const std::string text = with_other_settings(world);
  if (const auto number = sent(world, text)) world.change(replace_until_confirmed(*number, text, 100));
  world.to_next_minute();
  world.change(confirm());
  world.settle();
}

void leave_unconfirmed(World &world) {
  const std::string text = with_other_settings(world);
  if (const auto number = sent(world, text)) world.change(replace_until_confirmed(*number, text, 1));
  world.kill();
  world.to_next_minute();
  world.not_confirmed_in_time();
}

void starts_and_takes_back(World &world) {
  if (world.start()) world.settle();
}

}  // namespace

std::vector<Story> stories_of_changes() {
  return {
      {"jobs_change", jobs_change},
      {"schedules_change", schedules_change},
      {"names_and_addresses_change", names_and_addresses_change},
      {"schedule_is_switched", schedule_is_switched},
      {"feature_is_switched", feature_is_switched},
      {"log_changes", log_changes},
      {"mail_settings_change", mail_settings_change},
      {"logging_level_changes", logging_level_changes},
      {"passwords_change", passwords_change},
      {"configuration_is_saved", configuration_is_saved},
      {"configuration_is_replaced", configuration_is_replaced},
      {"configuration_is_rolled_back", configuration_is_rolled_back},
      {"configuration_is_confirmed", configuration_is_confirmed},
      {"start_takes_unconfirmed_back", starts_and_takes_back, leave_unconfirmed},
  };
}

}  // namespace oracle
