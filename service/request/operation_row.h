// SPDX-License-Identifier: Apache-2.0
// A row of the tables that say who may ask for an operation of the service, and what answers it.
#pragma once

#include <limits>

#include "control/operations.h"
#include "service/request/context.h"

namespace service {

enum class For { everybody, administrator };  // everybody: the answer is restricted to what the caller may see

using Answering = host::Answer (*)(const Call &, Payload);

// at_once: it only reads, and is answered also in the midst of a change that waits for the disk.
enum class When { in_turn, at_once };

struct Row {
  control::Operation operation;
  For whom;
  size_t shortest, longest;  // bytes of the payload
  Answering answer;          // null: it answers with a document alone
  Answering document;        // what as_json asks for; null: there is none
  When when = When::in_turn;
};

inline constexpr size_t any_length = std::numeric_limits<size_t>::max();

// For operations that check their payload themselves.
constexpr Row row(control::Operation operation, For whom, Answering answer, Answering document = nullptr) {
  return {operation, whom, 0, any_length, answer, document};
}

constexpr Row at_once(Row row) {
  row.when = When::at_once;
  return row;
}

template <host::Answer (*answer)()>
host::Answer bare(const Call &, Payload) {
  return answer();
}

}  // namespace service
