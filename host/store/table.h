// SPDX-License-Identifier: Apache-2.0
// The stores open in this process and the handles to them.
#pragma once

#include <cstdint>
#include <string>

#include "host/files/file_descriptor.h"
#include "host/store/environment.h"
#include "platform/pss.h"

namespace host {

// A lock between processes, shared for opening a store and exclusive for creating, replacing or removing its file: so
// that nobody opens a new data file with the old one's lock file.
class DirectoryGate {
 public:
  enum class For { opening, replacing };
  DirectoryGate(const std::string &store_path, For use);
  bool held() const { return static_cast<bool>(directory_); }

 private:
  FileDescriptor directory_;
};

Store *known_store(pss_handle handle);  // null: not a handle. Its environment may have been closed by a failure
// Opens the environment again if a failure has closed it. Null: that failed, or this is not a handle.
Store *store_of(pss_handle handle);
Store *open_store(const std::string &path);                                 // null: not open in this process
pss_handle new_handle(Store *store);                                        // 0: too many
bool close_handle(pss_handle handle);                                       // the last handle of a store closes it
void forget_store(const std::string &path);                                 // closes it and makes its handles invalid
Result<pss_handle> open_path(const std::string &path, bool shared = true);  // the gate is held

// Why store_of returned null.
Error bad_handle(pss_handle handle);

void forget_walks(pss_handle handle);  // while its store is open

}  // namespace host
