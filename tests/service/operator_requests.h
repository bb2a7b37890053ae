// SPDX-License-Identifier: Apache-2.0
// The host's own requests about runs, as a shell sends them.
#pragma once

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "control/operations.h"
#include "service/request/control.h"
#include "tests/service/world.h"

namespace service_test {

template <typename Record>
Bytes query(const Record &record, std::string_view name = {}) {
  Bytes payload(sizeof record);
  std::memcpy(payload.data(), &record, sizeof record);
  const Bytes text = bytes(name);
  payload.insert(payload.end(), text.begin(), text.end());
  return payload;
}

inline host::Answer ask(World &world, control::Operation operation, const Bytes &payload,
                        const host::Caller &caller = root()) {
  return service::control({world.parts->context, caller}, operation, payload);
}

inline std::string text_of(const host::Answer &answer) {
  if (answer.status != 0 || !answer.reply) return "(status " + std::to_string(answer.status) + ")";
  return {reinterpret_cast<const char *>(answer.reply->data()), answer.reply->size()};
}

inline void create_good_bad_and_own_job(World &world) {  // root's two, and one of nobody's
  EXPECT_EQ(create_job(world, "good", "echo fine\n"), 0u);
  EXPECT_EQ(create_job(world, "bad", "exit 3\n"), 0u);
  EXPECT_EQ(create_job(world, "own", "echo mine\n", nobody()), 0u);
}

inline std::string history(World &world, const control::HistoryQuery &asked = {}, std::string_view schedule = {},
                           const host::Caller &caller = root()) {
  return text_of(ask(world, control::Operation::show_history, query(asked, schedule), caller));
}

inline std::string upcoming(World &world, std::string_view schedule = {}, uint32_t count = 0,
                            const host::Caller &caller = root()) {
  return text_of(ask(world, control::Operation::show_upcoming, query(control::UpcomingQuery{count}, schedule), caller));
}

}  // namespace service_test
