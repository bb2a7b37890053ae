// SPDX-License-Identifier: Apache-2.0
#include "tests/host/crash/workload.h"

#include <random>

#include "host/store/store.h"
#include "tests/host/crash/recorder.h"

namespace crash {
namespace {

using Random = std::mt19937;

std::string random_value(Random &random) {
  constexpr std::size_t sizes[] = {4, 8, 12, 64, 144, 520, 716, 1024};
  std::string value(sizes[random() % std::size(sizes)], '\0');
  for (char &c : value)
    c = static_cast<char>(random());
  return value;
}

Change random_change(Random &random) {
  std::string key(40, '\0');
  key[3] = static_cast<char>(random() % 2);
  key[7] = static_cast<char>(random() % 4);
  key[8] = static_cast<char>('a' + random() % 8);
  if (random() % 4 == 0) return {key, std::nullopt};
  return {key, random_value(random)};
}

Request random_request(Random &random) {
  const auto choice = random() % 16;
  if (choice == 0) return {Request::Kind::shrink, {}};
  if (choice <= 2) return {Request::Kind::snapshot, {}};
  if (choice <= 6) return {Request::Kind::change, {random_change(random)}};
  Request request{Request::Kind::batch, {}};
  for (auto changes = 1 + random() % 9; changes > 0; --changes)
    request.changes.push_back(random_change(random));
  return request;
}

void apply(const Change &change, Records *records) {
  records->erase(change.key);
  if (change.value) records->emplace(change.key, *change.value);
}

uint32_t perform(const Change &change, pss_handle store) {
  const pss_buf key{const_cast<char *>(change.key.data()), static_cast<uint32_t>(change.key.size())};
  if (!change.value) {
    const uint32_t status = pss_delete(store, &key);
    return status == PSS_ERR_NO_KEY ? 0 : status;
  }
  const pss_buf value{const_cast<char *>(change.value->data()), static_cast<uint32_t>(change.value->size())};
  return pss_store(store, 1, &key, &value);
}

uint32_t create(pss_handle *store) {
  uint32_t status = 0;
  *store = pss_create(running_uri, &status);
  if (status == PSS_ERR_EXISTS) *store = pss_open(running_uri, &status);
  if (status == 0) status = pss_max_key(*store, 40);
  if (status == 0) status = pss_version_set(*store, 1, 1);
  return status == 0 ? pss_max_value(*store, 1024) : status;
}

uint32_t changes(const Request &request, pss_handle store) {
  uint32_t status = 0;
  for (const Change &change : request.changes) {
    if (status == 0) status = perform(change, store);
  }
  return status;
}

uint32_t batch(const Request &request, pss_handle store, Batches batches) {
  if (batches == Batches::in_pieces) return changes(request, store);
  const host::Result<void> begun = host::store_begin(store);
  if (!begun) return begun.code();
  if (const uint32_t status = changes(request, store); status != 0) return status;
  return host::store_commit(store).code();
}

}  // namespace

std::vector<Request> workload(unsigned seed, int count) {
  Random random(seed);
  std::vector<Request> requests = {{Request::Kind::create, {}}};
  while (static_cast<int>(requests.size()) < count)
    requests.push_back(random_request(random));
  return requests;
}

std::vector<Stores> states_after(const std::vector<Request> &requests) {
  std::vector<Stores> states = {{}};
  for (const Request &request : requests) {
    Stores next = states.back();
    if (request.kind == Request::Kind::create) next.running = Records{};
    if (request.kind == Request::Kind::snapshot) next.startup = next.running;
    for (const Change &change : request.changes)
      apply(change, &*next.running);
    states.push_back(std::move(next));
  }
  return states;
}

uint32_t perform(const Request &request, pss_handle *store, Batches batches) {
  uint32_t status = 0;
  switch (request.kind) {
    case Request::Kind::create:
      return create(store);
    case Request::Kind::change:
      return perform(request.changes.front(), *store);
    case Request::Kind::batch:
      return batch(request, *store, batches);
    case Request::Kind::snapshot:
      return pss_snapshot(*store, 0, startup_uri);
    case Request::Kind::shrink:
      if (const pss_handle shrunk = pss_shrink(*store, &status); status == 0) *store = shrunk;
      return status;
  }
  return 1;
}

int perform(const std::vector<Request> &requests, Batches batches) {
  pss_handle store = 0;
  for (const Request &request : requests) {
    if (perform(request, &store, batches) != 0) return 1;
    acknowledge();
  }
  return 0;
}

}  // namespace crash
