// SPDX-License-Identifier: Apache-2.0
// A job's text as a file for its interpreter.
//
// The file is in a directory where only the service creates files, belongs to the job's owner, is readable by nobody
// else, and stays until the job has ended. Not by an inherited descriptor (/dev/fd), which would stay open in
// everything that the job starts; not on the interpreter's command line, which every user can read; and not removed
// once it is open, for a job that executes itself again.
#pragma once

#include <string>
#include <utility>

#include "host/result.h"
#include "host/security/security.h"

namespace service {

class Script {
 public:
  Script() = default;
  Script(Script &&other) noexcept : path_(std::exchange(other.path_, {})) {}
  Script &operator=(Script &&other) noexcept {
    std::swap(path_, other.path_);
    return *this;
  }
  ~Script();

  // owner: null for the service's own user.
  static host::Result<Script> make(const std::string &directory, const std::string &text, const host::User *owner);

  const std::string &path() const { return path_; }

 private:
  explicit Script(std::string path) : path_(std::move(path)) {}
  std::string path_;
};

// Creates the directory if it is missing, and removes files that a killed service has left in it.
host::Result<void> clear_scripts(const std::string &directory, bool for_every_user);

}  // namespace service
