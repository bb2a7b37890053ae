// SPDX-License-Identifier: Apache-2.0
#include "host/store/table.h"

#include <fcntl.h>
#include <sys/file.h>

#include <algorithm>
#include <cerrno>
#include <map>
#include <vector>

#include "host/files/directory.h"
#include "host/status.h"
#include "host/store/failure.h"

namespace host {
namespace {

// A handle is its slot's number plus one in the low bits and the slot's generation above, so that a closed handle is
// not mistaken for a later one.
constexpr unsigned slot_bits = 12;
constexpr uint32_t slot_mask = (1U << slot_bits) - 1;
constexpr std::size_t slot_limit = slot_mask - 1;

struct Slot {
  Store *store = nullptr;
  uint32_t generation = 0;
};

std::vector<Slot> &slots() {
  static std::vector<Slot> table;
  return table;
}

std::map<std::string, std::unique_ptr<Store>> &stores() {
  static std::map<std::string, std::unique_ptr<Store>> table;
  return table;
}

Slot *slot_of(pss_handle handle) {
  const std::size_t index = (handle & slot_mask) - 1U;
  if (index >= slots().size()) return nullptr;
  Slot &slot = slots()[index];
  return slot.store != nullptr && slot.generation == handle >> slot_bits ? &slot : nullptr;
}

pss_handle handle_of(const Slot &slot) {
  return slot.generation << slot_bits | static_cast<uint32_t>(&slot - slots().data() + 1);
}

void free_slot(Slot &slot) {
  forget_walks(handle_of(slot));
  slot.store = nullptr;
  slot.generation = (slot.generation + 1) & (~0U >> slot_bits);
}

}  // namespace

DirectoryGate::DirectoryGate(const std::string &store_path, For use)
    : directory_(open(parent_directory(store_path).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
  if (directory_ && flock(directory_.get(), use == For::replacing ? LOCK_EX : LOCK_SH) != 0) directory_ = {};
}

Store *known_store(pss_handle handle) {
  const Slot *slot = slot_of(handle);
  return slot == nullptr ? nullptr : slot->store;
}

Store *store_of(pss_handle handle) {
  Store *store = known_store(handle);
  if (store == nullptr || store->environment) return store;
  const DirectoryGate gate(store->path, DirectoryGate::For::opening);
  const Result<void> opened = gate.held() ? open_environment(*store) : store_result(errno, store->path);
  store->closed_by = opened ? Error() : opened.error();
  return opened ? store : nullptr;
}

Store *open_store(const std::string &path) {
  const auto found = stores().find(path);
  return found == stores().end() ? nullptr : found->second.get();
}

pss_handle new_handle(Store *store) {
  auto free = std::ranges::find(slots(), nullptr, &Slot::store);
  if (free == slots().end()) {
    if (slots().size() == slot_limit) return 0;
    free = slots().insert(free, Slot{});
  }
  free->store = store;
  ++store->handles;
  return handle_of(*free);
}

bool close_handle(pss_handle handle) {
  Slot *slot = slot_of(handle);
  if (slot == nullptr) return false;
  Store *store = slot->store;
  free_slot(*slot);
  if (--store->handles == 0) forget_store(std::string(store->path));
  return true;
}

void forget_store(const std::string &path) {
  const auto found = stores().find(path);
  if (found == stores().end()) return;
  for (Slot &slot : slots()) {
    if (slot.store == found->second.get()) free_slot(slot);
  }
  close_environment(*found->second);
  stores().erase(found);
}

Result<pss_handle> open_path(const std::string &path, bool shared) {
  Store *store = open_store(path);
  if (store == nullptr) {
    auto opened = std::make_unique<Store>(path);
    opened->shared = shared;
    if (const Result<void> result = open_environment(*opened); !result) return result.error();
    store = stores().emplace(path, std::move(opened)).first->second.get();
  }
  if (!store->environment) {
    if (const Result<void> result = open_environment(*store); !result) return result.error();
  }
  const pss_handle handle = new_handle(store);
  if (handle == 0) return store_error(err_store_busy, path, "too many handles are open");
  return handle;
}

Error bad_handle(pss_handle handle) {
  if (const Store *store = known_store(handle); store != nullptr) return store->closed_by;
  return store_error(err_store_bad_handle, "store", "no open store has this handle");
}

}  // namespace host
