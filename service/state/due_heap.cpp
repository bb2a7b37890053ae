// SPDX-License-Identifier: Apache-2.0
#include "service/state/due_heap.h"

#include <algorithm>
#include <utility>

#include "service/state/entry_words.h"
#include "service/state/schedule_state.h"

namespace service {
namespace {

uint32_t due(const sch_schedule_entry &entry) {
  return next_due(entry);
}

bool before(const sch_schedule_entry &left, const sch_schedule_entry &right) {
  const uint32_t first = due(left), second = due(right);
  return first < second || (first == second && schedule_number(*left.rec) < schedule_number(*right.rec));
}

}  // namespace

// Grows by a quarter, as doubling could leave half of the memory unused.
void DueHeap::reserve(size_t count) {
  if (count > entries_.capacity()) entries_.reserve(count + count / 4);
}

void DueHeap::update(sch_schedule_entry &entry) {
  if (due(entry) == 0) return remove(entry);
  if (entry.service[due_place] == 0) {
    entries_.push_back(&entry);
    entry.service[due_place] = entries_.size();
  }
  settle(entry.service[due_place] - 1, entry);
}

void DueHeap::remove(sch_schedule_entry &entry) {
  if (entry.service[due_place] == 0) return;
  const size_t place = std::exchange(entry.service[due_place], 0) - 1;
  sch_schedule_entry *last = entries_.back();
  entries_.pop_back();
  if (last != &entry) settle(place, *last);
}

std::vector<sch_schedule_entry *> DueHeap::until(uint32_t moment) const {
  std::vector<sch_schedule_entry *> found;
  std::vector<size_t> places = {0};
  while (!places.empty()) {
    const size_t place = places.back();
    places.pop_back();
    if (place >= entries_.size() || due(*entries_[place]) > moment) continue;  // then all below it are later too
    found.push_back(entries_[place]);
    places.insert(places.end(), {2 * place + 1, 2 * place + 2});
  }
  std::sort(found.begin(), found.end(), [](const auto *left, const auto *right) { return before(*left, *right); });
  return found;
}

void DueHeap::settle(size_t place, sch_schedule_entry &entry) {
  put(sunk(risen(place, entry), entry), entry);
}

void DueHeap::put(size_t place, sch_schedule_entry &entry) {
  entries_[place] = &entry;
  entry.service[due_place] = place + 1;
}

size_t DueHeap::risen(size_t place, const sch_schedule_entry &entry) {
  for (; place > 0 && before(entry, *entries_[(place - 1) / 2]); place = (place - 1) / 2)
    put(place, *entries_[(place - 1) / 2]);
  return place;
}

size_t DueHeap::sunk(size_t place, const sch_schedule_entry &entry) {
  for (size_t child = 2 * place + 1; child < entries_.size(); child = 2 * place + 1) {
    if (child + 1 < entries_.size() && before(*entries_[child + 1], *entries_[child])) child++;
    if (!before(*entries_[child], entry)) break;
    put(place, *entries_[child]);
    place = child;
  }
  return place;
}

}  // namespace service
