// SPDX-License-Identifier: Apache-2.0
// The storage format of the history: for each schedule a sequence of numbered pages, each filled with outcomes in the
// order in which they were stored. A page is one record of the store: many small records would make every start slower.
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
  // An empty page that follows `before`; null for the schedule's first page.
  HistoryPage(uint32_t creation, const HistoryPage *before);

  // nullopt: there is no page of this number, or it belongs to an earlier schedule of the name or to another version.
  static std::optional<HistoryPage> read(const sch_schedule_entry &entry, uint32_t number);
  uint32_t write(const sch_schedule_entry &entry, uint32_t number) const;  // a status

  bool add(const Outcome &outcome);  // false: it is full
  std::vector<Outcome> outcomes() const;

  uint32_t new_runs() const { return head_.new_runs; }  // runs whose first outcome may be in this page
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

// The bytes of a remark that are kept in the history.
inline constexpr size_t history_remark_limit = 160;

}  // namespace service
