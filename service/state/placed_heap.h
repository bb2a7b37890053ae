// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

namespace service {

// A binary heap of items that know their place in it, so that one whose key has changed is moved without a search:
//
//   struct By { static bool before(const Item &, const Item &); static uintptr_t &place(Item &); };
//
// An item's place counts from 1; 0: it is not in the heap.
template <typename Item, typename By>
class PlacedHeap {
 public:
  Item *top() const { return items_.empty() ? nullptr : items_.front(); }

  // May throw std::bad_alloc: put() then does not. Grows by a quarter, as doubling could leave half of the memory
  // unused.
  void reserve(size_t count) {
    if (count > items_.capacity()) items_.reserve(count + count / 4);
  }

  // Inserts it, or moves it after its key has changed.
  void put(Item &item) {
    if (By::place(item) == 0) {
      items_.push_back(&item);
      By::place(item) = items_.size();
    }
    settle(By::place(item) - 1, item);
  }

  void remove(Item &item) {
    if (By::place(item) == 0) return;
    const size_t place = std::exchange(By::place(item), 0) - 1;
    Item *last = items_.back();
    items_.pop_back();
    if (last != &item) settle(place, *last);
  }

  // Visits all that `is_wanted`, which must be true of what stands before an item of which it is.
  template <typename IsWanted, typename Visit>
  void visit(IsWanted is_wanted, Visit visit) const {
    std::vector<size_t> places = {0};
    while (!places.empty()) {
      const size_t place = places.back();
      places.pop_back();
      if (place >= items_.size() || !is_wanted(*items_[place])) continue;  // then none below it is
      visit(*items_[place]);
      places.insert(places.end(), {2 * place + 1, 2 * place + 2});
    }
  }

 private:
  void settle(size_t place, Item &item) { set(sunk(risen(place, item), item), item); }

  void set(size_t place, Item &item) {
    items_[place] = &item;
    By::place(item) = place + 1;
  }

  size_t risen(size_t place, const Item &item) {
    for (; place > 0 && By::before(item, *items_[(place - 1) / 2]); place = (place - 1) / 2)
      set(place, *items_[(place - 1) / 2]);
    return place;
  }

  size_t sunk(size_t place, const Item &item) {
    for (size_t child = 2 * place + 1; child < items_.size(); child = 2 * place + 1) {
      if (child + 1 < items_.size() && By::before(*items_[child + 1], *items_[child])) child++;
      if (!By::before(*items_[child], item)) break;
      set(place, *items_[child]);
      place = child;
    }
    return place;
  }

  std::vector<Item *> items_;  // the children of place n are at 2n + 1 and 2n + 2
};

}  // namespace service
