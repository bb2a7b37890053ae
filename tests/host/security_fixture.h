// SPDX-License-Identifier: Apache-2.0
// A state directory of the test's own, and the service in a process of its own.
#pragma once

#include <gtest/gtest.h>
#include <sys/types.h>

#include <string>
#include <string_view>

#include "host/transport/transport.h"
#include "schedcli.h"

namespace security_test {

std::string read_file(const std::string &path);
void write_file(const std::string &path, std::string_view content, mode_t mode = 0600);
unsigned mode_of(const std::string &path);

sch_security_user_rec record_of(std::string_view user, std::string_view password, uint32_t form = 0);

class SecurityTest : public testing::Test {
 protected:
  SecurityTest();
  ~SecurityTest() override;
  const std::string &state() const { return state_; }

 private:
  std::string state_;
};

// The security service on its socket, as schedd runs it, until destroyed.
class ServiceProcess {
 public:
  explicit ServiceProcess(host::Handler handler);  // of what is not service_control
  ~ServiceProcess();
  ServiceProcess(const ServiceProcess &) = delete;
  ServiceProcess &operator=(const ServiceProcess &) = delete;
  pid_t id() const { return process_; }

 private:
  pid_t process_;
};

}  // namespace security_test
