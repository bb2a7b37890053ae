// SPDX-License-Identifier: Apache-2.0
#include "tests/host/security_fixture.h"

#include <signal.h>
#include <sodium.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

#include "host/files/file_descriptor.h"
#include "host/files/paths.h"
#include "host/loop/loop.h"
#include "host/security/security.h"

namespace security_test {

using namespace host;

namespace {

// The service's rule: a password may be used by its user and by root.
Answer control(const Incoming &incoming) {
  uint32_t operation = 0;
  std::memcpy(&operation, incoming.body.data(), sizeof operation);
  return answer_security_request(operation, incoming.body.subspan(sizeof operation), [&](const std::string &user) {
    return incoming.caller.peer_uid == 0 || incoming.caller.user_name == user;
  });
}

[[noreturn]] void be_service(const Handler &handler, int ready) {
  ::prctl(PR_SET_PDEATHSIG, SIGKILL);
  Loop loop;
  Server::Options options;
  options.socket_path = paths().socket;
  if (!security_become_service()) ::_exit(1);
  const auto server = Server::listen(options, [&](const Incoming &incoming) {
    return incoming.service == service_control ? control(incoming) : handler(incoming);
  });
  if (!server || ::write(ready, "r", 1) != 1) ::_exit(1);
  loop.run();
  ::_exit(0);
}

}  // namespace

std::string read_file(const std::string &path) {
  std::ostringstream content;
  content << std::ifstream(path, std::ios::binary).rdbuf();
  return content.str();
}

void write_file(const std::string &path, std::string_view content, mode_t mode) {
  std::ofstream(path, std::ios::binary | std::ios::trunc) << content;
  ASSERT_EQ(::chmod(path.c_str(), mode), 0);
}

unsigned mode_of(const std::string &path) {
  struct stat info = {};
  EXPECT_EQ(::lstat(path.c_str(), &info), 0) << path;
  return info.st_mode & 07777;
}

sch_security_user_rec record_of(std::string_view user, std::string_view password, uint32_t form) {
  sch_security_user_rec record = {};
  user.copy(record.user_name, sizeof record.user_name);
  record.kind = 2;
  record.form = form;
  password.copy(record.password, sizeof record.password);
  return record;
}

SecurityTest::SecurityTest() {
  if (sodium_init() < 0) throw std::runtime_error("no libsodium");
  std::string name = testing::TempDir() + "schedcli-security-XXXXXX";
  state_ = ::mkdtemp(name.data());
  use_paths({.state = state_, .run = state_, .socket = state_ + "/schedd.sock", .system_wide = ::geteuid() == 0});
}

SecurityTest::~SecurityTest() {
  std::filesystem::remove_all(state_);
}

ServiceProcess::ServiceProcess(Handler handler) {
  int ends[2];
  if (::pipe(ends) != 0) throw std::runtime_error("no pipe");
  const FileDescriptor reading(ends[0]);
  FileDescriptor writing(ends[1]);
  process_ = ::fork();
  if (process_ == 0) be_service(handler, ends[1]);
  writing = FileDescriptor();
  char ready = 0;
  if (::read(reading.get(), &ready, 1) != 1) throw std::runtime_error("the service did not start");
}

ServiceProcess::~ServiceProcess() {
  ::kill(process_, SIGKILL);
  ::waitpid(process_, nullptr, 0);
}

}  // namespace security_test
