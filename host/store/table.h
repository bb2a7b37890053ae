// SPDX-License-Identifier: Apache-2.0
// The stores open in this process and the handles to them.
#pragma once

#include <cstdint>
#include <string>

#include "host/files/file_descriptor.h"
#include "host/store/environment.h"
#include "platform/pss.h"

namespace host {

// Held while a store is opened (many at once) or while its file is made, replaced or removed (alone), by any process:
// nobody opens a new file with the old one's lock file.
class DirectoryGate {
 public:
  enum class For { opening, replacing };
  DirectoryGate(const std::string &store_path, For use);
  bool held() const { return static_cast<bool>(directory_); }

 private:
  FileDescriptor directory_;
};

Store *known_store(pss_handle handle);  // null: not a handle. A failure may have closed the store
// Opens the store again that a failure has closed. Null: that failed again, or this is not a handle.
Store *store_of(pss_handle handle);
Store *open_store(const std::string &path);  // null: not open in this process
pss_handle new_handle(Store *store);         // 0: too many
bool close_handle(pss_handle handle);        // closes the store with its last handle
void forget_store(const std::string &path);  // closes it; its handles are none from now on
Result<pss_handle> open_path(const std::string &path, bool shared = true);  // the gate is held

// Why store_of gave null.
Error bad_handle(pss_handle handle);

void forget_walks(pss_handle handle);  // while its store is open

}  // namespace host
