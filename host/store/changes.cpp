// SPDX-License-Identifier: Apache-2.0
#include "host/store/changes.h"

#include <utility>

namespace host {
namespace {

std::string_view bytes_of(const MDB_val &value) {
  return {static_cast<const char *>(value.mv_data), value.mv_size};
}

MDB_val value_of(const std::string &bytes) {
  return {bytes.size(), const_cast<char *>(bytes.data())};
}

}  // namespace

void Changes::add(const RecordChange &change) {
  const std::string_view key = bytes_of(change.key);
  std::optional<std::string> value;
  if (change.value) value = bytes_of(*change.value);
  const std::size_t size = value ? key.size() + value->size() : 0;
  auto place = changes_.find(key);
  if (place == changes_.end()) place = changes_.emplace(key, std::nullopt).first;
  if (place->second) stored_bytes_ -= key.size() + place->second->size();
  place->second = std::move(value);
  stored_bytes_ += size;
}

std::optional<RecordChange> Changes::find(const MDB_val &key) const {
  const auto found = changes_.find(bytes_of(key));
  return found == changes_.end() ? std::nullopt : std::optional(record_change(found));
}

std::optional<RecordChange> Changes::first_behind(const MDB_val &key) const {
  const auto found = changes_.upper_bound(bytes_of(key));
  return found == changes_.end() ? std::nullopt : std::optional(record_change(found));
}

RecordChange Changes::record_change(ByKey::const_iterator change) {
  RecordChange result{value_of(change->first), {}};
  if (change->second) result.value = value_of(*change->second);
  return result;
}

}  // namespace host
