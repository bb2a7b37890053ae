// SPDX-License-Identifier: Apache-2.0
#include "db/job_names.h"

#include <algorithm>
#include <cstdint>
#include <iterator>

#include "db/name.h"

namespace {

constexpr int16_t free_place = -1;

const sch_job_entry *indexed = nullptr;  // the table of the session
int16_t places[2 * SCH_MAX_JOBS];        // a hash table of slot numbers by name, with open addressing

size_t home_of(const char *name) {
  uint32_t bits = 0x811c9dc5;
  for (size_t i = 0; i < name_size && name[i] != '\0'; ++i)
    bits = (bits ^ static_cast<unsigned char>(name[i])) * 0x01000193;
  return (bits ^ bits >> 16) % std::size(places);
}

// Where the name is, or a free place for it.
int16_t &place_of(const char *name) {
  size_t place = home_of(name);
  while (places[place] != free_place && !same_name(indexed[places[place]].key->name, name))
    place = (place + 1) % std::size(places);
  return places[place];
}

int walk(const sch_config_db *config, const char *name) {
  for (int i = 0; i < SCH_MAX_JOBS; ++i)
    if (config->jobs[i].key != nullptr && same_name(config->jobs[i].key->name, name)) return i;
  return -1;
}

}  // namespace

int slot_named(const sch_config_db *config, const char *name) {
  return indexed == config->jobs ? place_of(name) : walk(config, name);
}

void note_slot_named(const sch_config_db *config, const sch_job_entry *slot) {
  if (indexed != config->jobs) return;
  const auto number = static_cast<int16_t>(slot - config->jobs);
  int16_t &place = place_of(slot->key->name);
  place = place == free_place ? number : std::min(place, number);
}

job_name_session::job_name_session(const sch_config_db *config) {
  std::fill(std::begin(places), std::end(places), free_place);
  indexed = config->jobs;
  for (int i = 0; i < SCH_MAX_JOBS; ++i)
    if (config->jobs[i].key != nullptr) note_slot_named(config, &config->jobs[i]);
}

job_name_session::~job_name_session() {
  indexed = nullptr;
}
