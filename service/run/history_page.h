// SPDX-License-Identifier: Apache-2.0
// How the history lies in the store: for each schedule a row of pages, numbered upwards, each full of outcomes in the
// order in which they were stored. A page is one record; many small ones would make every start slower.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "schedcli.h"
#include "service/run/outcome.h"

namespace service {

class HistoryPage {
 public:
  // An empty page behind `before`; null: the schedule's first.
  HistoryPage(uint32_t creation, const HistoryPage *before);

  // Nothing: there is none of this number, or it belongs to another schedule or another version.
  static std::optional<HistoryPage> read(const sch_schedule_entry &entry, uint32_t number);
  uint32_t write(const sch_schedule_entry &entry, uint32_t number) const;  // a status

  bool add(const Outcome &outcome);  // false: it is full
  std::vector<Outcome> outcomes() const;

  uint32_t new_runs() const { return head_.new_runs; }  // whose first outcome is in this page: at most so many
  uint64_t first_run() const { return head_.first_run; }
  uint64_t last_run() const { return head_.last_run; }            // in this page or any before it
  uint64_t last_sequence() const { return head_.last_sequence; }  // in this page

 private:
  struct Head {
    uint32_t version, creation;
    uint64_t first_run, last_run, last_sequence;
    uint32_t new_runs, count;
  };
  HistoryPage() = default;

  Head head_ = {};
  std::string body_;
};

// What remains of a remark in the history.
inline constexpr size_t history_remark_limit = 160;

}  // namespace service
