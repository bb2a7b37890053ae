// SPDX-License-Identifier: Apache-2.0
#include "shell/configuration_diff.h"

#include <algorithm>
#include <map>
#include <vector>

#include "control/lines.h"

namespace shell {

namespace {

using LineViews = std::vector<std::string_view>;

struct Block {
  std::string_view name;  // the block's first line
  LineViews lines;
};

constexpr std::string_view job_start = "scheduler job name ", schedule_start = "scheduler schedule name ";

bool ends(const Block &block, std::string_view line) {
  return block.name.starts_with(job_start) ? line == "end-job" : line.find_first_not_of(' ') == line.npos;
}

std::vector<Block> blocks_of(std::string_view text) {
  std::vector<Block> blocks;
  bool open = false;
  while (!text.empty()) {
    const std::string_view line = control::cut_line(&text);
    if (open) {
      open = !ends(blocks.back(), line);
      if (open || line == "end-job") blocks.back().lines.push_back(line);
    } else if (!line.empty()) {
      blocks.push_back({line, {line}});
      open = line.starts_with(job_start) || line.starts_with(schedule_start);
    }
  }
  return blocks;
}

std::string marked(char mark, std::string_view line) {
  return mark + std::string(line) + "\n";
}

std::string marked(char mark, const LineViews &lines) {
  std::string text;
  for (const std::string_view line : lines)
    text += marked(mark, line);
  return text;
}

// Bounds the table for the longest common subsequence; blocks that need more are shown as removed and added whole.
constexpr size_t cells_limit = 4'000'000;

std::string lines_diff(const LineViews &before, const LineViews &after) {
  const size_t rows = before.size() + 1, columns = after.size() + 1;
  if (rows * columns > cells_limit) return marked('-', before) + marked('+', after);
  std::vector<uint32_t> common(rows * columns);
  const auto at = [&](size_t row, size_t column) -> uint32_t & { return common[row * columns + column]; };
  for (size_t row = before.size(); row-- > 0;)
    for (size_t column = after.size(); column-- > 0;)
      at(row, column) = before[row] == after[column] ? at(row + 1, column + 1) + 1
                                                     : std::max(at(row + 1, column), at(row, column + 1));
  std::string text;
  size_t row = 0, column = 0;
  while (row < before.size() || column < after.size()) {
    if (row < before.size() && column < after.size() && before[row] == after[column]) {
      text += marked(' ', before[row++]);
      column++;
    } else if (column == after.size() || (row < before.size() && at(row + 1, column) >= at(row, column + 1))) {
      text += marked('-', before[row++]);
    } else {
      text += marked('+', after[column++]);
    }
  }
  return text;
}

using ByName = std::map<std::string_view, const Block *>;

ByName by_name(const std::vector<Block> &blocks) {
  ByName names;
  for (const Block &block : blocks)
    names.emplace(block.name, &block);
  return names;
}

}  // namespace

std::string configuration_diff(std::string_view before, std::string_view after) {
  if (before == after) return {};
  const std::vector<Block> old_blocks = blocks_of(before), new_blocks = blocks_of(after);
  const ByName old_names = by_name(old_blocks), new_names = by_name(new_blocks);
  std::string text;
  for (const Block &block : old_blocks)
    if (!new_names.contains(block.name)) text += marked('-', block.lines);
  for (const Block &block : new_blocks) {
    const auto known = old_names.find(block.name);
    if (known == old_names.end())
      text += marked('+', block.lines);
    else if (known->second->lines != block.lines)
      text += lines_diff(known->second->lines, block.lines);
  }
  return text.empty() ? "! the blocks are the same, in another order\n" : text;
}

}  // namespace shell
