// SPDX-License-Identifier: Apache-2.0
// Documents about configurations: what they configure, as data.
#include <algorithm>

#include "control/operations.h"
#include "service/configuration/history.h"
#include "service/configuration/in_use.h"
#include "service/configuration/time_line.h"
#include "service/document/answer.h"
#include "service/document/recurrence.h"
#include "service/request/answer.h"
#include "service/request/payload.h"
#include "service/request/shown.h"
#include "service/state/schedule_state.h"

namespace service {
namespace {

using control::json_moment;
using control::json_text;

std::optional<uint32_t> part_of_caller(const Call &call) {
  const bool all = call.context.authority.administrator(call.caller);
  return all ? std::nullopt : std::optional(owner_tag(call.context.authority.owner(call.caller).uid));
}

void add_text(Json *object, const char *name, const std::string &text) {
  if (!text.empty()) (*object)[name] = json_text(text);
}

Json mail_of(const GlobalSettings &settings) {
  Json mail = Json::object();
  add_text(&mail, "from", settings.mail_from);
  add_text(&mail, "reply-to", settings.mail_reply_to);
  if (settings.mail_server.host.empty()) return mail;
  Json &server = mail["server"] = {{"host", json_text(settings.mail_server.host)}, {"port", settings.mail_server.port}};
  add_text(&server, "vrf", settings.mail_server.vrf);
  return mail;
}

Json settings_json(const GlobalSettings &settings) {
  Json json = Json::object();
  if (settings.feature) json["enabled"] = *settings.feature;
  json["log-size"] = settings.log_kilobytes;
  add_text(&json, "log-file", settings.log_uri);
  if (Json mail = mail_of(settings); !mail.empty()) json["mail"] = std::move(mail);
  json["logging-level"] = settings.logging_level;
  return json;
}

Json job_json(const JobBlock &job) {
  Json json = {{"name", job.name}};
  add_text(&json, "owner", job.owner.name);
  json["commands"] = json_text(job.text);
  return json;
}

Json texts(const std::vector<std::string> &list) {
  Json array = Json::array();
  for (const std::string &text : list)
    array.push_back(json_text(text));
  return array;
}

Json block_json(const ScheduleBlock &schedule) {
  Json json = {{"name", schedule.name}};
  add_text(&json, "owner", schedule.owner.name);
  json["enabled"] = schedule.enabled;
  if (const host::Result<sch_tminfo> time = read_time_line(schedule.time)) add_recurrence(&json, *time);
  json["job"] = texts(schedule.jobs);
  json["address"] = texts(schedule.addresses);
  return json;
}

Json configuration_json(const Configuration &configuration, bool with_settings) {
  Json json = Json::object();
  if (with_settings) json["settings"] = settings_json(configuration.settings);
  json["job"] = Json::array();
  json["schedule"] = Json::array();
  for (const JobBlock &job : configuration.jobs)
    json["job"].push_back(job_json(job));
  for (const ScheduleBlock &schedule : configuration.schedules)
    json["schedule"].push_back(block_json(schedule));
  return json;
}

host::Answer answer_part(const Call &call, const char *name, const host::Result<Configuration> &configuration) {
  if (!configuration) return with_status(configuration.code());
  const std::optional<uint32_t> part = part_of_caller(call);
  return document(name, configuration_json(part_of(*configuration, part), !part));
}

host::Result<Configuration> configuration_of(uint32_t number) {
  if (number == control::running_configuration_number) return configuration_in_use();
  return number == control::startup_configuration_number ? startup_configuration() : configuration_of_entry(number);
}

// Whose it was is told beside it and makes no difference by itself.
Json without_owner(Json block) {
  block.erase("owner");
  return block;
}

// By name; the order does not matter.
template <typename Block, typename Describe>
Json changes(const std::vector<Block> &before, const std::vector<Block> &after, Describe describe) {
  Json list = Json::array();
  const auto find = [](const std::vector<Block> &blocks, const std::string &name) {
    const auto found = std::ranges::find(blocks, name, &Block::name);
    return found == blocks.end() ? nullptr : &*found;
  };
  for (const Block &old : before) {
    const Block *kept = find(after, old.name);
    if (kept == nullptr)
      list.push_back({{"name", old.name}, {"change", "removed"}, {"before", without_owner(describe(old))}});
    else if (without_owner(describe(old)) != without_owner(describe(*kept)))
      list.push_back({{"name", old.name},
                      {"change", "changed"},
                      {"before", without_owner(describe(old))},
                      {"after", without_owner(describe(*kept))}});
  }
  for (const Block &added : after)
    if (find(before, added.name) == nullptr)
      list.push_back({{"name", added.name}, {"change", "added"}, {"after", without_owner(describe(added))}});
  return list;
}

}  // namespace

host::Answer running_document(const Call &call, Payload) {
  return answer_part(call, "running-config", configuration_in_use());
}

host::Answer startup_document(const Call &call, Payload) {
  return answer_part(call, "startup-config", startup_configuration());
}

host::Answer scheduler_config_document(const Call &call, Payload) {
  const Configuration whole = configuration_in_use();
  Configuration part = part_of(whole, part_of_caller(call));
  part.settings = whole.settings;
  return document("scheduler-config", configuration_json(part, true));
}

host::Answer configuration_history_document(const Call &, Payload) {
  Json entries = Json::array();
  const std::vector<HistoryEntry> history = configuration_history();
  for (auto entry = history.rbegin(); entry != history.rend(); ++entry) {
    Json json = {{"number", entry->number}};
    if (entry->origin.at != 0) json["when"] = json_moment(entry->origin.at);
    json["who"] = json_text(entry->origin.who);
    json["from"] = json_text(entry->origin.whence);
    json["with"] = json_text(entry->origin.what);
    entries.push_back(std::move(json));
  }
  return document("configuration-history", {{"configuration", entries}});
}

host::Answer difference_document(const Call &call, Payload payload) {
  const auto query = record_of<control::DifferenceQuery>(payload);
  const host::Result<Configuration> before = configuration_of(query.before), after = configuration_of(query.after);
  if (!before) return with_status(before.code());
  if (!after) return with_status(after.code());
  const std::optional<uint32_t> part = part_of_caller(call);
  const Configuration old_part = part_of(*before, part), new_part = part_of(*after, part);
  Json content = Json::object();
  if (!part && old_part.settings != new_part.settings)
    content["settings"] = {{"before", settings_json(old_part.settings)}, {"after", settings_json(new_part.settings)}};
  content["job"] = changes(old_part.jobs, new_part.jobs, job_json);
  content["schedule"] = changes(old_part.schedules, new_part.schedules, block_json);
  return document("difference", std::move(content));
}

}  // namespace service
