// SPDX-License-Identifier: Apache-2.0
// What the world knows of the configuration: the changes that were made, and what must be seen of them.
#include <algorithm>
#include <filesystem>
#include <iterator>
#include <stdexcept>

#include "control/configuration.h"
#include "tests/system/oracle/world.h"

namespace oracle {
namespace {

void take_level(const Facts &from, Facts *facts) {
  const auto is_level = [](const std::string &fact) { return fact.starts_with("logging level "); };
  std::erase_if(*facts, is_level);
  std::ranges::copy_if(from, std::inserter(*facts, facts->end()), is_level);
}

}  // namespace

void World::follow_changes() {
  base_text_ = client_->control(control::Operation::running_text, "")->text();
  base_ = see_facts(*client_).value();
  configured_.begin(base_);
  follows_ = true;
}

// A replacement's answer has a status of its own.
uint32_t World::status_of(const Change &change, const Reply &reply) {
  const bool replaces =
      change.operation ==
      OperationOfService(host::service_control, static_cast<uint32_t>(control::Operation::apply_configuration));
  if (reply.status != 0 || !replaces) return reply.status;
  return record_of<control::ConfigurationReply>(reply.text()).status;
}

// Where the directory's sync has failed, what was refused may be there, whole.
void World::look_whether_it_is_there(const Change &change) {
  configured_.unanswered(change.effect);
  const uint64_t first = faults_->first.exchange(0);  // reading opens stores, which a full disk refuses as well
  if (const std::optional<Facts> seen = see_facts(*client_)) {
    const Complaints complaints = configured_.judge(*seen);
    found_.insert(found_.end(), complaints.begin(), complaints.end());
  }
  faults_->first = first;
}

// The level lies in a store of its own: an answer that says so acknowledges the rest, and the next start may store it.
void World::acknowledged(const Change &change, const Reply &reply) {
  const Facts before = configured_.facts();
  const auto says = [&](const char *words) { return reply.text().find(words) != std::string::npos; };
  const bool but_the_level = says("the logging level could not be stored");
  configured_.acknowledged(change.effect);
  if (!but_the_level) return;
  const Facts wanted = configured_.facts();
  configured_.acknowledged([&](Facts &facts) { take_level(before, &facts); });
  if (says("the next start of the service tries again"))
    of_next_start_ = [wanted](Facts &facts) { take_level(wanted, &facts); };
}

std::optional<Reply> World::change(const Change &change) {
  answers();
  const auto &[service, number] = change.operation;
  const bool clears_log = change.operation == OperationOfService(SCH_SERVICE_CONFIG, SCH_OP_CLEAR_LOG);
  const uint64_t syncs = faults_->syncs;
  faults_->directory_not_synced = false;
  if (configured_.is_open() || !client_ || !client_->ask(service, number, change.payload)) return std::nullopt;
  if (clears_log) ledger_.perhaps_cleared();
  std::optional<Reply> reply = client_->receive();
  if (!reply) {
    configured_.unanswered(change.effect);
    return reply;
  }
  reply->status = status_of(change, *reply);
  if (reply->status != 0) {
    refused_.push_back("operation " + std::to_string(number) + " of service " + std::to_string(service) +
                       " refused: " + std::to_string(reply->status));
    if (faults_->directory_not_synced) look_whether_it_is_there(change);
    return reply;
  }
  const Facts before = configured_.facts();
  acknowledged(change, *reply);
  if (clears_log) ledger_.cleared();
  if (configured_.facts() != before && faults_->syncs == syncs)
    found_.push_back("operation " + std::to_string(number) + " of service " + std::to_string(service) +
                     " was acknowledged before it was synced");
  acknowledged_.insert(change.operation);
  return reply;
}

void World::restore() {
  const auto must = [&](const Change &one) {
    const std::optional<Reply> reply = change(one);
    if (!reply || reply->status != 0) throw std::runtime_error("the configuration cannot be restored");
    return *reply;
  };
  const auto has = [&](const std::string &words) {
    return std::ranges::any_of(configured_.facts(), [&](const std::string &fact) { return fact.starts_with(words); });
  };
  if (configured_.facts() == base_) return;
  if (!is_switched_on(configured_.facts(), "A")) pass(30000);  // at a due time, what is switched on runs for it
  if (has(awaits_confirmation)) must(confirm());
  if (has(of_startup)) must(erase_what_start_has());
  // A log that was moved may have left its file, which is in the way where it goes back.
  if (has("scheduler logfile name ")) std::filesystem::remove(state_ + "/" + SCH_LOG_NAME_DEFAULT);
  if (has(password_fact(user_, ""))) must(remove_password(user_));
  if (configured_.facts() == base_) return;
  must(replace_by_text(record_of<uint32_t>(must(send_text(base_text_)).text()), base_text_));
  if (configured_.facts() != base_) throw std::runtime_error("the configuration is not as it was");
}

bool World::kill_run(uint64_t number) {
  const Change kill = {
      {host::service_control, static_cast<uint32_t>(control::Operation::kill_run)}, bytes_of(number), [](Facts &) {}};
  const std::optional<Reply> reply = change(kill);
  const bool is_killed = reply && reply->status == 0;
  if (is_killed) ledger_.killed(number);
  return is_killed;
}

void World::tell_what_is_switched_off() {
  for (const auto &[from, until] : passed_)
    for (const char *schedule : {"A", "B"})
      if (follows_ && !is_switched_on(configured_.facts(), schedule)) ledger_.switched_off(schedule, from, until);
  passed_.clear();
}

Complaints World::judge_configuration() {
  if (!follows_) return {};
  const std::optional<Facts> seen = see_facts(*client_);
  if (!seen) return {"the service died unarmed: " + errors()};
  Complaints complaints = configured_.judge(*seen);
  tell_what_is_switched_off();
  complaints.insert(complaints.end(), found_.begin(), found_.end());
  found_.clear();
  return complaints;
}

}  // namespace oracle
