// SPDX-License-Identifier: Apache-2.0
// Users who are not in the local password file: their jobs run only while the authentication server takes the password
// that they stored. PAM asks a list of the test's own.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <fstream>

#include "control/operations.h"
#include "host/security/authentication.h"
#include "host/security/users.h"
#include "service/request/control.h"
#include "service/run/outcome.h"
#include "tests/service/world.h"

namespace service_test {
namespace {

using ::testing::SizeIs;

class Remote : public testing::Test {
 protected:
  Remote() {
    std::filesystem::create_directory(services_);
    const std::string module = std::string(PAM_MATRIX_MODULE) + " passdb=" + passwords_ + "\n";
    write(services_ + "/schedcli", "auth required " + module + "account required " + module);
    write(local_users_, "root:x:0:0:root:/root:/bin/sh\n");
    host::use_pam_services(services_.c_str());
    host::use_local_users_file(local_users_.c_str());
  }
  ~Remote() override {
    host::use_pam_services(nullptr);
    host::use_local_users_file("/etc/passwd");
  }

  static void write(const std::string &path, const std::string &text) { std::ofstream(path) << text; }
  void server_knows(const std::string &password) { write(passwords_, "daemon:" + password + ":schedcli\n"); }

  uint32_t security(control::Operation operation, const std::string &password = {}) {
    sch_security_user_rec record = {};
    std::strcpy(record.user_name, "daemon");
    record.kind = 2;
    password.copy(record.password, sizeof record.password - 1);
    Bytes payload(sizeof record);
    std::memcpy(payload.data(), &record, sizeof record);
    return service::control({world_.parts->context, daemon_user()}, operation, payload).status;
  }

  World world_;
  std::string services_ = world_.directory.path() + "/pam.d";
  std::string passwords_ = services_ + "/passwords", local_users_ = world_.directory.path() + "/users";
};

TEST_F(Remote, a_user_who_stored_no_password_configures_nothing) {
  EXPECT_EQ(create_job(world_, "job", "echo ran\n", daemon_user()), SCH_STATUS_NO_PASSWORD);
  EXPECT_EQ(create_job(world_, "job", "echo ran\n"), 0u) << "root is local";
}

TEST_F(Remote, jobs_run_while_the_server_takes_the_stored_password) {
  ASSERT_EQ(security(control::Operation::security_store, "right horse"), 0u);
  ASSERT_EQ(create_job(world_, "job", "echo ran\n", daemon_user()), 0u);
  ASSERT_EQ(create_schedule(world_, "s", {"job"}, every(1, noon + 60), daemon_user()), 0u);
  server_knows("right horse");
  due_now(world_, noon + 60);
  server_knows("changed since");
  due_now(world_, noon + 120);
  ASSERT_EQ(security(control::Operation::security_store, "changed since"), 0u);
  due_now(world_, noon + 180);
  ASSERT_EQ(security(control::Operation::security_remove), 0u);
  due_now(world_, noon + 240);

  const std::vector<Logged> log = log_of(world_);
  const uint32_t refused = service::exit_code(service::Reason::user);
  ASSERT_THAT(log, SizeIs(4));
  EXPECT_EQ(log[0], (Logged{"job", "s", "daemon", "ran\n", 0, noon + 60}));
  EXPECT_EQ(log[1].exit_code, refused);
  EXPECT_EQ(log[2], (Logged{"job", "s", "daemon", "ran\n", 0, noon + 180}));
  EXPECT_EQ(log[3].exit_code, refused);
  EXPECT_NE(log[1].output, log[3].output) << "a wrong password and none are told apart";
  EXPECT_EQ(log[1].output.find("ran"), std::string::npos);
}

}  // namespace
}  // namespace service_test
