// SPDX-License-Identifier: Apache-2.0
// A job's text as a file for its interpreter.
//
// It has a name of its own, in a directory where only the service makes names, and stays until the job has ended: an
// open descriptor (and /dev/fd) would stay open in everything that the job starts, the interpreter's command line would
// show the text to every user, and a file that goes as soon as it has been opened breaks a job that starts itself
// again. It is its owner's and nobody else can read it.
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

// Made where it is missing; what a service that was killed left in it goes.
host::Result<void> clear_scripts(const std::string &directory, bool for_every_user);

}  // namespace service
