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
  std::string identifier;  // empty: the machine's, whatever that is at the time
  const char *asked_by;
};

std::string given_tz() {
  const char *given = std::getenv("TZ");
  return given == nullptr ? std::string() : given;
}

// TZ as it was before the process set its own.
const std::string &tz_at_start() {
  static const std::string at_start = given_tz();
  return at_start;
}

Choice choose(const std::string &configured) {
  const std::string &tz = tz_at_start();  // asked for first of all: living in a zone changes it
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

// The C library reads a zone's file again only when TZ has said something else meanwhile.
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
  std::string identity = identity_of(files_of(choice));  // before it is read: a change in between is seen later
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
