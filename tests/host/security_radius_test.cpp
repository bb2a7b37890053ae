// SPDX-License-Identifier: Apache-2.0
// Remote users against a real RADIUS server on loopback: a freeradius of the test's own, with its own configuration,
// port and users, behind pam_radius_auth.
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>

#include "host/files/file_descriptor.h"
#include "host/security/authentication.h"
#include "host/security/key.h"
#include "host/security/seal.h"
#include "host/security/security.h"
#include "tests/host/security_fixture.h"

namespace security_test {

using namespace host;

namespace {

constexpr int patience_ms = 30000;
constexpr const char *secret = "between-the-two";

in_port_t free_port() {
  const FileDescriptor probe(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  sockaddr_in address = {};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof address;
  auto *name = reinterpret_cast<sockaddr *>(&address);
  EXPECT_EQ(::bind(probe.get(), name, size), 0);
  EXPECT_EQ(::getsockname(probe.get(), name, &size), 0);
  return ntohs(address.sin_port);
}

std::string configuration(const std::string &directory, in_port_t port) {
  return "prefix = " + directory + "\nlogdir = " + directory + "\nrun_dir = " + directory +
         "\nlibdir = /usr/lib/freeradius\nmax_request_time = 10\nmax_requests = 256\nhostname_lookups = no\n"
         "log {\n destination = stdout\n}\n"
         "security {\n max_attributes = 100\n reject_delay = 0\n status_server = no\n}\n"
         "client loopback {\n ipaddr = 127.0.0.1\n secret = \"" +
         secret +
         "\"\n}\n"
         "thread pool {\n start_servers = 1\n max_servers = 2\n min_spare_servers = 1\n max_spare_servers = 1\n"
         " max_requests_per_server = 0\n}\n"
         "modules {\n files {\n usersfile = " +
         directory +
         "/users\n }\n pap {\n }\n}\n"
         "server default {\n listen {\n type = auth\n ipaddr = 127.0.0.1\n port = " +
         std::to_string(port) +
         "\n }\n authorize {\n files\n pap\n }\n"
         " authenticate {\n Auth-Type PAP {\n pap\n }\n }\n}\n";
}

}  // namespace

class Radius {
 public:
  explicit Radius(const std::string &directory, in_port_t port) {
    write_file(directory + "/radiusd.conf", configuration(directory, port));
    write_file(directory + "/users", "alice Cleartext-Password := \"right horse\"\n");
    start(directory);
  }
  ~Radius() { stop(); }
  bool is_ready();
  void stop() {
    if (process_ > 0) {
      ::kill(process_, SIGKILL);
      ::waitpid(process_, nullptr, 0);
    }
    process_ = 0;
  }
  const std::string &output() const { return output_; }

 private:
  void start(const std::string &directory);

  pid_t process_ = 0;
  FileDescriptor from_server_;
  std::string output_;
};

void Radius::start(const std::string &directory) {
  int ends[2];
  ASSERT_EQ(::pipe2(ends, O_CLOEXEC), 0);
  from_server_ = FileDescriptor(ends[0]);
  const FileDescriptor to_test(ends[1]);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, ends[1], 1);
  posix_spawn_file_actions_adddup2(&actions, ends[1], 2);
  const char *const arguments[] = {"freeradius", "-f", "-x", "-l", "stdout", "-d", directory.c_str(), nullptr};
  const char *const environment[] = {"PATH=/usr/sbin:/usr/bin:/sbin:/bin", nullptr};
  EXPECT_EQ(::posix_spawnp(&process_, "/usr/sbin/freeradius", &actions, nullptr, const_cast<char **>(arguments),
                           const_cast<char **>(environment)),
            0);
  posix_spawn_file_actions_destroy(&actions);
}

bool Radius::is_ready() {
  char buffer[4096];
  while (output_.find("Ready to process requests") == std::string::npos) {
    pollfd watched = {from_server_.get(), POLLIN, 0};
    if (::poll(&watched, 1, patience_ms) != 1) return false;
    const ssize_t size = ::read(from_server_.get(), buffer, sizeof buffer);
    if (size <= 0) return false;
    output_.append(buffer, static_cast<std::size_t>(size));
  }
  return true;
}

class RadiusTest : public SecurityTest {
 protected:
  void SetUp() override {
    if (!std::filesystem::exists("/usr/sbin/freeradius") || !std::filesystem::exists(PAM_RADIUS_MODULE))
      GTEST_SKIP() << "needs the packages freeradius and libpam-radius-auth";
    ASSERT_EQ(provide_security_key(false).code(), 0u);
    const in_port_t port = free_port();
    radius_ = std::make_unique<Radius>(state(), port);
    ASSERT_TRUE(radius_->is_ready()) << radius_->output();
    write_services(port);
  }
  ~RadiusTest() override { use_pam_services(nullptr); }
  void write_services(in_port_t port) {
    const std::string module = std::string(PAM_RADIUS_MODULE) + " conf=" + state() + "/pam.conf\n";
    write_file(state() + "/pam.conf", "127.0.0.1:" + std::to_string(port) + " " + secret + " 1\n");
    ASSERT_TRUE(std::filesystem::create_directory(state() + "/pam.d"));
    write_file(state() + "/pam.d/schedcli", "auth required " + module + "account required pam_permit.so\n");
    services_ = state() + "/pam.d";
    use_pam_services(services_.c_str());
  }
  static uint32_t authenticate(const std::string &user, const std::string &password) {
    const Result<std::string> sealed = seal_password(user, password);
    EXPECT_EQ(sealed.code(), 0u);
    return security_authenticate(user, *sealed).code();
  }
  std::unique_ptr<Radius> radius_;
  std::string services_;
};

TEST_F(RadiusTest, the_server_decides_and_without_it_nobody_waits_for_long) {
  EXPECT_EQ(authenticate("alice", "right horse"), 0u);
  EXPECT_EQ(authenticate("alice", "wrong horse"), SCH_STATUS_AUTHENTICATION_FAILED);
  EXPECT_EQ(authenticate("mallory", "right horse"), SCH_STATUS_AUTHENTICATION_FAILED);
  EXPECT_EQ(authenticate("alice", "right horse"), 0u);
  radius_->stop();
  const auto before = std::chrono::steady_clock::now();
  EXPECT_NE(authenticate("alice", "right horse"), 0u);
  EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::seconds(12));
}

}  // namespace security_test
