// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

namespace service {

// A hash table of pointers with open addressing, at most three quarters full: 11 to 16 bytes an item, without an
// allocation for each. The key is a part of the item:
//
//   struct By { using Key = …; static Key key(const Item &); static uint64_t hash(Key); };
//
// An item's key must not change while it is in the table.
template <typename Item, typename By>
class OpenTable {
 public:
  using Key = typename By::Key;

  size_t size() const { return count_; }

  Item *find(Key key) const {
    if (count_ == 0) return nullptr;
    size_t place = home(key);
    while (places_[place] != nullptr && !(By::key(*places_[place]) == key))
      place = after(place);
    return places_[place];
  }

  // The only function that may throw std::bad_alloc: the next insert() then does not.
  void reserve_one() {
    if ((count_ + 1) * 4 <= places_.size() * 3) return;
    std::vector<Item *> before(places_.size() + places_.size() / 2 + 4);
    before.swap(places_);
    for (Item *item : before)
      if (item != nullptr) place(*item);
  }

  void insert(Item &item) {
    place(item);
    count_++;
  }

  void remove(const Item &item) {
    size_t gap = home(By::key(item));
    while (places_[gap] != &item)
      gap = after(gap);
    close(gap);
    count_--;
  }

  template <typename Visit>
  void for_each(Visit visit) const {  // `visit` must not change the table
    for (Item *item : places_)
      if (item != nullptr) visit(*item);
  }

  void clear() { *this = {}; }

 private:
  size_t home(Key key) const { return static_cast<size_t>((By::hash(key) >> 32) * places_.size() >> 32); }
  size_t after(size_t place) const { return place + 1 == places_.size() ? 0 : place + 1; }

  void place(Item &item) {
    size_t place = home(By::key(item));
    while (places_[place] != nullptr)
      place = after(place);
    places_[place] = &item;
  }

  // Moves later items into the gap where their home place allows it, as a search stops at the first gap.
  void close(size_t gap) {
    for (size_t place = after(gap); places_[place] != nullptr; place = after(place)) {
      const size_t wanted = home(By::key(*places_[place]));
      const bool beyond_gap = gap < place ? wanted > gap && wanted <= place : wanted > gap || wanted <= place;
      if (beyond_gap) continue;
      places_[gap] = places_[place];
      gap = place;
    }
    places_[gap] = nullptr;
  }

  std::vector<Item *> places_;  // null: free
  size_t count_ = 0;
};

// The table uses the upper half of the result.
inline uint64_t hash_of(uint64_t value) {
  value ^= value >> 32;
  value *= 0x9e3779b97f4a7c15u;
  value ^= value >> 29;
  return value * 0xbf58476d1ce4e5b9u;
}

inline uint64_t hash_of(std::string_view text, uint64_t beside = 0) {
  uint64_t bits = beside;
  for (const char character : text)
    bits = (bits ^ static_cast<unsigned char>(character)) * 0x100000001b3u;
  return hash_of(bits);
}

}  // namespace service
