// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "service/state/entry_words.h"
#include "service/state/schedule_state.h"

namespace service {

// Schedules in the order of their numbers: a treap whose links are the entries' own words, so that it allocates
// nothing and cannot fail. An entry's priority is computed from its number.
template <EntryWord left, EntryWord right>
class NumberTree {
 public:
  bool empty() const { return root_ == 0; }

  sch_schedule_entry *after(int64_t number) const {  // the one with the next higher number; null: none
    sch_schedule_entry *found = nullptr;
    for (sch_schedule_entry *at = entry(root_); at != nullptr;) {
      const bool higher = int64_t{schedule_number(*at->rec)} > number;
      if (higher) found = at;
      at = entry(at->service[higher ? left : right]);
    }
    return found;
  }

  sch_schedule_entry *last() const {
    sch_schedule_entry *at = entry(root_);
    while (at != nullptr && at->service[right] != 0)
      at = entry(at->service[right]);
    return at;
  }

  void insert(sch_schedule_entry &added) {
    uintptr_t *link = &root_;
    while (*link != 0 && priority(*entry(*link)) > priority(added))
      link = toward(added, *entry(*link));
    split(*link, added);
    *link = reinterpret_cast<uintptr_t>(&added);
  }

  void remove(sch_schedule_entry &removed) {
    uintptr_t *link = &root_;
    while (entry(*link) != &removed)
      link = toward(removed, *entry(*link));
    join(removed.service[left], removed.service[right], link);  // which insert() sets anew
  }

 private:
  // NOLINTNEXTLINE(performance-no-int-to-ptr): the words of an entry are the public header's
  static sch_schedule_entry *entry(uintptr_t word) { return reinterpret_cast<sch_schedule_entry *>(word); }

  static uint32_t priority(const sch_schedule_entry &of) {
    uint32_t bits = schedule_number(*of.rec) * 0x9e3779b1u;
    bits = (bits ^ bits >> 15) * 0x85ebca6bu;
    return bits ^ bits >> 13;
  }

  static uintptr_t *toward(const sch_schedule_entry &wanted, sch_schedule_entry &at) {
    return &at.service[schedule_number(*wanted.rec) < schedule_number(*at.rec) ? left : right];
  }

  // Splits the tree into lower and higher numbers, as the two subtrees of `around`.
  static void split(uintptr_t tree, sch_schedule_entry &around) {
    uintptr_t *lower = &around.service[left], *higher = &around.service[right];
    while (tree != 0) {
      sch_schedule_entry &at = *entry(tree);
      const bool goes_higher = schedule_number(*at.rec) > schedule_number(*around.rec);
      uintptr_t *&end = goes_higher ? higher : lower;
      *end = tree;
      end = &at.service[goes_higher ? left : right];
      tree = *end;
    }
    *lower = *higher = 0;
  }

  static void join(uintptr_t lower, uintptr_t higher, uintptr_t *link) {
    while (lower != 0 && higher != 0) {
      const bool take_lower = priority(*entry(lower)) > priority(*entry(higher));
      uintptr_t &taken = take_lower ? lower : higher;
      *link = taken;
      link = &entry(taken)->service[take_lower ? right : left];
      taken = *link;
    }
    *link = lower != 0 ? lower : higher;
  }

  uintptr_t root_ = 0;
};

}  // namespace service
