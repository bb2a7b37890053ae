// SPDX-License-Identifier: Apache-2.0
// Requests to two stores, and what the stores must hold after each of them.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "platform/pss.h"

namespace crash {

inline constexpr char running_uri[] = "running:scheduler_runtime";
inline constexpr char startup_uri[] = "startup:scheduler_startup";

using Records = std::map<std::string, std::string>;

struct Stores {
  std::optional<Records> running, startup;  // nothing: there is no such store
  bool operator==(const Stores &) const = default;
};

struct Change {
  std::string key;
  std::optional<std::string> value;  // nothing: deleted
};

struct Request {
  enum class Kind { create, change, batch, snapshot, shrink } kind;
  std::vector<Change> changes;
};

std::vector<Request> workload(unsigned seed, int count);
std::vector<Stores> states_after(const std::vector<Request> &requests);  // [n]: after the first n requests

// How a request of several changes is stored: as it should be, or so that a crash can leave half of it.
enum class Batches { whole, in_pieces };

// Applies one request to the real store, whose handle it may change. A status.
uint32_t perform(const Request &request, pss_handle *store, Batches batches);

// Applies every request to the real store and acknowledges it. 0: all were successful.
int perform(const std::vector<Request> &requests, Batches batches);

}  // namespace crash
