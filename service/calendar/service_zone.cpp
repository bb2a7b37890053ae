// SPDX-License-Identifier: Apache-2.0
#include "service/calendar/service_zone.h"

#include <cstdlib>
#include <ctime>
#include <optional>

#include "host/status.h"
#include "service/calendar/machine_zone.h"

namespace service {
namespace {

struct Choice {
  std::string identifier;  // empty: follows the machine's zone
  const char *asked_by;
};

std::string given_tz() {
  const char *given = std::getenv("TZ");
  return given == nullptr ? std::string() : given;
}

// The process's TZ before live_in() changed it.
const std::string &tz_at_start() {
  static const std::string at_start = given_tz();
  return at_start;
}

Choice choose(const std::string &configured) {
  const std::string &tz = tz_at_start();  // first of all, as live_in() changes the variable
  if (!configured.empty()) return {configured, "the configuration"};
  if (!tz.empty()) return {tz, "the environment variable TZ"};
  return {{}, "the machine's /etc/localtime"};
}

struct Current {
  Zone zone;
  Choice choice = {"UTC", ""};
  std::string identity;
};

Current &current() {
  static Current current;
  return current;
}

// The C library rereads a zone's file only when TZ changes: so TZ is set to something else first.
void live_in(const Zone &zone) {
  setenv("TZ", "UTC0", 1);
  tzset();
  setenv("TZ", zone.identifier().c_str(), 1);
  tzset();
}

std::vector<std::string> files_of(const Choice &choice) {
  return choice.identifier.empty() ? files_of_machine_zone() : files_of_zone(choice.identifier);
}

host::Result<Zone> load(const Choice &choice) {
  return Zone::load(choice.identifier.empty() ? machine_zone() : choice.identifier);
}

void adopt(Zone zone, Choice choice, std::string identity) {
  live_in(zone);
  current() = {std::move(zone), std::move(choice), std::move(identity)};
}

}  // namespace

const Zone &service_zone() {
  return current().zone;
}

host::Result<void> set_service_zone(const std::string &configured) {
  Choice choice = choose(configured);
  std::string identity = identity_of(files_of(choice));  // before reading, so that a change in between is noticed later
  host::Result<Zone> zone = load(choice);
  if (!zone) return host::Error{zone.code(), zone.error().text + " (asked for by " + choice.asked_by + ")"};
  adopt(std::move(*zone), std::move(choice), std::move(identity));
  return {};
}

bool refresh_service_zone() {
  std::string identity = identity_of(files_of(current().choice));
  if (identity == current().identity) return false;
  host::Result<Zone> zone = load(current().choice);
  if (!zone) return false;
  const bool other = !zone->same_offsets(service_zone()) || zone->identifier() != service_zone().identifier();
  adopt(std::move(*zone), current().choice, std::move(identity));
  return other;
}

std::vector<std::string> files_of_service_zone() {
  return files_of(current().choice);
}

}  // namespace service
