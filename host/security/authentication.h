// SPDX-License-Identifier: Apache-2.0
// One authentication by PAM in a child process: its modules may wait for servers that do not answer, leak memory and
// descriptors, or change the process.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <memory>
#include <string>

#include "host/files/file_descriptor.h"
#include "host/result.h"
#include "host/security/secret.h"
#include "host/transport/transport.h"

namespace host {

inline constexpr int authentication_deadline_ms = 10000;  // then the child is killed; below a client's reply timeout
inline constexpr int authentications_at_once = 8;         // err_busy beyond

void use_pam_services(const char *directory);  // PAM's service files, instead of the system's; the pointer is kept

class Authentication : public PendingAnswer {
 public:
  static Result<std::shared_ptr<Authentication>> start(const std::string &user, const ClearText &password);
  // Checks the account alone: err_account_refused when it is expired or may not be used.
  static Result<std::shared_ptr<Authentication>> of_account(const std::string &user);
  ~Authentication() override;
  Authentication(const Authentication &) = delete;
  Authentication &operator=(const Authentication &) = delete;

  Result<void> result();     // to be called when `descriptor` is readable or the deadline has passed
  Answer answer() override;  // result() as a status
  Result<void> wait();       // waits until then, and returns result()

 private:
  static Result<std::shared_ptr<Authentication>> begin(const std::string &user, const ClearText *password);
  Authentication(std::string user, bool of_account, FileDescriptor outcome, pid_t child);
  void end_child();

  std::string user_;
  bool of_account_;
  FileDescriptor outcome_;
  pid_t child_;
};

}  // namespace host
