// SPDX-License-Identifier: Apache-2.0
// What a batch has changed so far, in memory: its commit writes it, and reads within the batch see it.
#pragma once

#include <lmdb.h>

#include <cstddef>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace host {

struct RecordChange {
  MDB_val key;
  std::optional<MDB_val> value;  // none: the record is deleted
};

// The last change of each key, in the store's order of keys.
class Changes {
 public:
  void add(const RecordChange &change);  // nothing has changed when it throws std::bad_alloc

  // What these give stays valid until its key is changed again.
  std::optional<RecordChange> find(const MDB_val &key) const;
  std::optional<RecordChange> first_behind(const MDB_val &key) const;

  bool empty() const { return changes_.empty(); }
  // Of all keys and values that are to be stored: the least that the store will hold after the commit.
  std::size_t stored_bytes() const { return stored_bytes_; }

  // Until one of the calls does not return 0, whose result it returns.
  template <typename Apply>
  int for_each(Apply apply) const {
    for (auto change = changes_.begin(); change != changes_.end(); ++change)
      if (const int code = apply(record_change(change)); code != 0) return code;
    return 0;
  }

 private:
  // Strings are ordered as LMDB orders keys: byte by byte, without a sign, the shorter one first.
  using ByKey = std::map<std::string, std::optional<std::string>, std::less<>>;
  static RecordChange record_change(ByKey::const_iterator change);

  ByKey changes_;
  std::size_t stored_bytes_ = 0;
};

}  // namespace host
