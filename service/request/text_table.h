// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

namespace service {

// Text in columns, each as wide as its widest cell and separated by two blanks. The last column is not padded.
class TextTable {
 public:
  using Row = std::vector<std::string>;

  explicit TextTable(Row heading) : rows_{std::move(heading)} {}
  void add(Row row) { rows_.push_back(std::move(row)); }  // of as many cells as the heading
  bool empty() const { return rows_.size() == 1; }
  std::string text() const;

 private:
  std::vector<Row> rows_;
};

}  // namespace service
