// SPDX-License-Identifier: Apache-2.0
// Whole configurations, as a shell asks for them.
#pragma once

#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <string>

#include "control/configuration.h"
#include "control/fingerprint.h"
#include "control/statuses.h"
#include "service/request/control.h"
#include "tests/service/operator_requests.h"
#include "tests/service/world.h"

namespace service_test {

struct ConfigurationAnswer {
  uint32_t status = 0;  // of the request, or of its reply
  uint32_t flags = 0;
  std::string problems, before, after;
};

inline std::string text_in(const host::Answer &answer) {
  if (!answer.reply) return {};
  return {reinterpret_cast<const char *>(answer.reply->data()), answer.reply->size()};
}

inline host::Answer ask(World &world, control::Operation operation) {
  return ask(world, operation, Bytes());
}

inline std::string running(World &world, const host::Caller &caller = root()) {
  return text_in(ask(world, control::Operation::running_text, Bytes(), caller));
}

inline control::ConfigurationOrder order_of(control::ConfigurationSource source, uint32_t number) {
  control::ConfigurationOrder order = {};
  order.source = static_cast<uint32_t>(source);
  order.number = number;
  return order;
}

inline ConfigurationAnswer order(World &world, const control::ConfigurationOrder &order,
                                 const host::Caller &caller = root()) {
  using namespace std::string_literals;
  control::use_error_texts();
  const host::Answer answer =
      ask(world, control::Operation::apply_configuration, query(order, "a test\0configure replace"s), caller);
  if (answer.status != 0) return {answer.status, 0, "", "", ""};
  const std::string reply = text_in(answer);
  control::ConfigurationReply fixed = {};
  std::memcpy(&fixed, reply.data(), sizeof fixed);
  const size_t before = sizeof fixed + fixed.problems_length, after = before + fixed.before_length;
  return {fixed.status, fixed.flags, reply.substr(sizeof fixed, fixed.problems_length),
          reply.substr(before, fixed.before_length), reply.substr(after)};
}

// In a process of its own.
template <typename Work>
bool survives(Work work) {
  const pid_t child = fork();
  if (child == 0) {
    work();
    _exit(0);
  }
  int status = 0;
  return waitpid(child, &status, 0) == child && status == 0;
}

inline uint32_t put(World &world, const std::string &text, const host::Caller &caller = root()) {
  const host::Answer answer = ask(world, control::Operation::put_configuration, query(uint32_t{0}, text), caller);
  uint32_t id = 0;
  if (answer.reply) std::memcpy(&id, answer.reply->data(), sizeof id);
  return id;
}

inline ConfigurationAnswer replace(World &world, const std::string &text, const host::Caller &caller = root()) {
  return order(world, order_of(control::ConfigurationSource::text, put(world, text, caller)), caller);
}

}  // namespace service_test
