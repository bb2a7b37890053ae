// SPDX-License-Identifier: Apache-2.0
#include "service/request/text_table.h"

#include <algorithm>

namespace service {

std::string TextTable::text() const {
  std::vector<size_t> widths(rows_.front().size());
  for (const Row &row : rows_)
    for (size_t column = 0; column < widths.size(); column++)
      widths[column] = std::max(widths[column], row[column].size());
  std::string text;
  for (const Row &row : rows_) {
    for (size_t column = 0; column + 1 < widths.size(); column++)
      text += row[column] + std::string(widths[column] - row[column].size() + 2, ' ');
    text += row.back() + "\n";
  }
  return text;
}

}  // namespace service
