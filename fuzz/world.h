// SPDX-License-Identifier: Apache-2.0
// The service on stores of its own, for one input. Nothing that the input configures can be run: there is no starter.
#pragma once

#include <string>
#include <utility>

#include "fuzz/input.h"
#include "platform/pss.h"
#include "service/request/control.h"
#include "tests/service/world.h"

namespace fuzz {

// The clock stands still as long as one lives; the fuzzer itself needs it.
struct World : service_test::World {
  World() = default;
  World(const World &) = delete;
  World &operator=(const World &) = delete;
  ~World() {
    stop();
    // A process has one state directory otherwise, and keeps its stores open.
    for (const char *store :
         {sch_pss_running_uri, sch_pss_running_db_uri, sch_debug_pss_running_uri, sch_pss_startup_uri})
      pss_destroy(store);
    service_test::set_clock(0);
  }

  host::Answer ask(control::Operation operation, const host::Bytes &payload) {
    return service::control({parts->context, service_test::root()}, operation, payload);
  }
};

template <typename Record>
host::Bytes bytes_of(const Record &record, const std::string &text = {}) {
  const auto *start = reinterpret_cast<const std::byte *>(&record);
  host::Bytes bytes(start, start + sizeof record);
  const host::Bytes behind = service_test::bytes(text);
  bytes.insert(bytes.end(), behind.begin(), behind.end());
  return bytes;
}

inline std::string text_of(const host::Answer &answer) {
  if (!answer.reply) return {};
  return {reinterpret_cast<const char *>(answer.reply->data()), answer.reply->size()};
}

// As a client reads it, to the end.
inline void read_all(host::Answer answer) {
  while (answer.next && answer.next()) {
  }
}

}  // namespace fuzz
