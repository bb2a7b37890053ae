// SPDX-License-Identifier: Apache-2.0
// What PAM's modules see of the service: as little as possible.
#include <fcntl.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <vector>

#include "host/files/file_descriptor.h"
#include "host/security/authentication.h"
#include "schedcli.h"
#include "tests/host/security_fixture.h"

namespace security_test {

using namespace host;

std::vector<std::string> log_lines;

// In the place of the C library's, for every library of the process.
extern "C" void vsyslog(int priority, const char *format, va_list arguments) {
  char text[512];
  std::vsnprintf(text, sizeof text, format, arguments);
  log_lines.push_back(std::to_string(LOG_PRI(priority)) + " " + text);
}

// Which file the system log has open, and what stood there when it was first closed; shared with the child.
struct Log {
  int descriptor;
  int closed;
  mode_t found;
};
Log *log_of_child = nullptr;

extern "C" void closelog() {
  if (log_of_child == nullptr) return;
  if (log_of_child->closed++ > 0) return;  // by PAM, which has a log of its own
  struct stat file = {};
  ::fstat(log_of_child->descriptor, &file);
  log_of_child->found = file.st_mode & S_IFMT;
}

constexpr int service_signals[] = {SIGTERM, SIGINT, SIGHUP, SIGCHLD, SIGALRM, SIGUSR1, SIGUSR2};

struct Horse : ClearText {
  Horse() { std::strcpy(reinterpret_cast<char *>(bytes.data()), "horse"); }
};

class ChildTest : public SecurityTest {
 protected:
  ChildTest() {
    const std::string services = state() + "/pam.d";
    EXPECT_EQ(::mkdir(services.c_str(), 0700), 0);
    const std::string module = std::string(PAM_WITNESS_MODULE) + " " + notes_path() + " horse\n";
    services_ = services;
    use_module(module);
    use_pam_services(services_.c_str());
  }
  ~ChildTest() override { use_pam_services(nullptr); }
  void use_module(const std::string &module) const {
    write_file(services_ + "/schedcli", "auth required " + module + "account required " + module);
  }
  std::string notes() const { return read_file(notes_path()); }

 private:
  std::string notes_path() const { return state() + "/notes"; }
  std::string services_;
};

// As a service has them: each of its signals is handled, and those that it waits for are blocked.
class ServiceSignals {
 public:
  ServiceSignals() {
    sigset_t all;
    sigfillset(&all);
    for (std::size_t i = 0; i < std::size(service_signals); i++)
      handlers_[i] = ::signal(service_signals[i], SIG_IGN);
    ::sigprocmask(SIG_SETMASK, &all, &mask_);
  }
  ~ServiceSignals() {
    for (std::size_t i = 0; i < std::size(service_signals); i++)
      ::signal(service_signals[i], handlers_[i]);
    ::sigprocmask(SIG_SETMASK, &mask_, nullptr);
  }
  ServiceSignals(const ServiceSignals &) = delete;
  ServiceSignals &operator=(const ServiceSignals &) = delete;

 private:
  sighandler_t handlers_[std::size(service_signals)];
  sigset_t mask_;
};

// As a service in the foreground has it.
class Terminal {
 public:
  explicit Terminal(int file) {
    for (const int standard : {0, 1, 2}) {
      kept_.emplace_back(::fcntl(standard, F_DUPFD_CLOEXEC, 3));
      ::dup2(file, standard);
    }
  }
  ~Terminal() {
    for (const int standard : {0, 1, 2})
      ::dup2(kept_[static_cast<std::size_t>(standard)].get(), standard);
  }
  Terminal(const Terminal &) = delete;
  Terminal &operator=(const Terminal &) = delete;

 private:
  std::vector<FileDescriptor> kept_;
};

const std::string around =
    "descriptors 0 nowhere 1 nowhere 2 nowhere 3 pipe\n"
    "signals usual usual usual usual usual usual usual\n"
    "process core 0 dumpable 0 ends by 9 leads\n"
    "silent\n"
    "no empty password\n";

std::string asked(const std::string &password) {
  return "told and asked" + (password.empty() ? " refused" : " none none " + password) +
         "\n"
         "asked openly refused\n"
         "asked both refused\n"
         "asked nothing refused\n"
         "told most none none none none\n"
         "told more refused\n";
}

TEST_F(ChildTest, modules_see_nothing_of_the_service_and_get_the_password_where_it_is_not_shown) {
  const FileDescriptor of_the_service(::open("/dev/zero", O_RDONLY)), behind_a_gap(::dup2(of_the_service.get(), 77));
  std::shared_ptr<Authentication> authentication;
  {
    const ServiceSignals handled;
    const Terminal terminal(of_the_service.get());
    const auto started = Authentication::start("alice", Horse());
    ASSERT_TRUE(started);
    authentication = *started;
  }
  EXPECT_EQ(authentication->wait().code(), 0u);
  EXPECT_EQ(notes(), "authenticate\n" + around + asked("horse") + "account\n" + around + asked("horse"));
}

// The answer's descriptor may be the log's, which would close it, or write into it.
TEST_F(ChildTest, the_log_is_closed_before_its_descriptor_is_taken_for_the_answer) {
  void *shared = ::mmap(nullptr, sizeof(Log), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  ASSERT_NE(shared, MAP_FAILED);
  log_of_child = new (shared) Log{3, 0, 0};
  const FileDescriptor as_the_log(::open("/dev/zero", O_RDONLY));
  if (as_the_log.get() != 3) ::dup2(as_the_log.get(), 3);
  const auto started = Authentication::start("alice", Horse());
  ASSERT_TRUE(started);
  EXPECT_EQ((*started)->wait().code(), 0u);
  EXPECT_GE(log_of_child->closed, 1);
  EXPECT_EQ(log_of_child->found, mode_t{S_IFCHR});
  log_of_child = nullptr;
  ::munmap(shared, sizeof(Log));
  if (as_the_log.get() != 3) ::close(3);
}

TEST_F(ChildTest, modules_that_look_at_the_account_alone_get_no_password) {
  const auto started = Authentication::of_account("alice");
  ASSERT_TRUE(started);
  EXPECT_EQ((*started)->wait().code(), 0u);
  EXPECT_EQ(notes(), "account\n" + around + asked(""));
}

TEST_F(ChildTest, module_that_ends_its_process_has_not_accepted_anybody_and_is_told_of) {
  use_module(std::string(PAM_WITNESS_MODULE) + "\n");
  log_lines.clear();
  const auto started = Authentication::start("alice", Horse());
  ASSERT_TRUE(started);
  errno = EAGAIN;  // as an earlier call has left it
  EXPECT_EQ((*started)->wait().code(), SCH_STATUS_AUTHENTICATION_FAILED);
  EXPECT_EQ(log_lines, (std::vector<std::string>{std::to_string(LOG_WARNING) +
                                                 " authentication of user alice for the scheduler broke off"}));
}

TEST_F(ChildTest, authentication_that_nobody_waits_for_any_more_leaves_no_process) {
  ASSERT_TRUE(Authentication::start("alice", Horse()));
  EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1);
  EXPECT_EQ(errno, ECHILD);
}

// The signal handler lets the module go on, the third time that the wait was interrupted.
int gate = -1;
volatile sig_atomic_t interruptions = 0;

void open_the_gate(int) {
  interruptions = interruptions + 1;
  if (interruptions != 3) return;
  (void)!::write(gate, "x", 1);
}

// An answer that is known when the gate has been opened.
TEST_F(ChildTest, a_wait_goes_on_after_a_signal_and_ends_with_the_answer) {
  const auto started = Authentication::start("alice", Horse());
  ASSERT_TRUE(started);
  int ends[2];
  ASSERT_EQ(::pipe2(ends, O_CLOEXEC), 0);
  const FileDescriptor reading(ends[0]), writing(ends[1]);
  gate = writing.get();
  (*started)->descriptor = reading.get();
  (*started)->deadline_ms = 30000;
  struct sigaction action = {}, before = {};
  action.sa_handler = open_the_gate;
  ::sigaction(SIGALRM, &action, &before);
  const itimerval often = {{0, 1000}, {0, 1000}}, never = {};
  ::setitimer(ITIMER_REAL, &often, nullptr);
  const auto begun = std::chrono::steady_clock::now();
  (void)(*started)->wait();
  const auto taken = std::chrono::steady_clock::now() - begun;
  ::setitimer(ITIMER_REAL, &never, nullptr);
  ::sigaction(SIGALRM, &before, nullptr);
  EXPECT_GE(interruptions, 3);
  EXPECT_LT(taken, std::chrono::milliseconds((*started)->deadline_ms));
}

}  // namespace security_test
