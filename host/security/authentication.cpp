// SPDX-License-Identifier: Apache-2.0
#include "host/security/authentication.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <poll.h>
#include <security/pam_appl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <syslog.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <climits>
#include <cstdlib>
#include <cstring>

#include "host/errors.h"
#include "host/security/symbol.h"
#include "host/status.h"
#include "platform/syslog.h"
#include "schedcli.h"

namespace host {

namespace {

constexpr const char *pam_service = "schedcli";
constexpr unsigned char accepted = 1;
constexpr unsigned char refused = 2;
constexpr int outcome_in_child = 3;

int running = 0;
const char *services = nullptr;  // directory of PAM's service files; null: the system's

void release_answers(pam_response *answers, int count) {
  for (int i = 0; i < count; i++) {
    if (answers[i].resp == nullptr) continue;
    explicit_bzero(answers[i].resp, std::strlen(answers[i].resp));
    std::free(answers[i].resp);
  }
  std::free(answers);
}

// Only a prompt that hides its answer gets the password.
bool answer_message(const pam_message &message, const char *password, pam_response *answer) {
  if (message.msg_style == PAM_TEXT_INFO || message.msg_style == PAM_ERROR_MSG) return true;
  if (message.msg_style != PAM_PROMPT_ECHO_OFF || password == nullptr) return false;
  answer->resp = ::strdup(password);
  return answer->resp != nullptr;
}

int converse(int count, const pam_message **messages, pam_response **answers, void *password) {
  if (count <= 0 || count > PAM_MAX_NUM_MSG) return PAM_CONV_ERR;
  auto *given = static_cast<pam_response *>(std::calloc(static_cast<std::size_t>(count), sizeof(pam_response)));
  if (given == nullptr) return PAM_BUF_ERR;
  for (int i = 0; i < count; i++) {
    if (answer_message(*messages[i], static_cast<const char *>(password), &given[i])) continue;
    release_answers(given, count);
    return PAM_CONV_ERR;
  }
  *answers = given;
  return PAM_SUCCESS;
}

struct Pam {
  decltype(&pam_start_confdir) start = nullptr;
  decltype(&pam_authenticate) authenticate = nullptr;
  decltype(&pam_acct_mgmt) account = nullptr;
  decltype(&pam_end) end = nullptr;
};

// In the child alone: the service never loads PAM. RTLD_GLOBAL because modules look for PAM's symbols.
bool load(Pam *pam) {
  void *library = ::dlopen("libpam.so.0", RTLD_NOW | RTLD_GLOBAL);
  return library != nullptr && find_symbol(library, "pam_start_confdir", &pam->start) &&
         find_symbol(library, "pam_authenticate", &pam->authenticate) &&
         find_symbol(library, "pam_acct_mgmt", &pam->account) && find_symbol(library, "pam_end", &pam->end);
}

// Without a password only the account is checked.
bool pam_accepts(const std::string &user, const ClearText *password) {
  const pam_conv conversation = {converse, password != nullptr ? const_cast<char *>(password->c_str()) : nullptr};
  Pam pam;
  pam_handle_t *handle = nullptr;
  if (!load(&pam)) return false;
  int result = pam.start(pam_service, user.c_str(), &conversation, services, &handle);
  if (result != PAM_SUCCESS) return false;
  // An expired password is refused: a scheduled job has nobody who could change it.
  constexpr int flags = PAM_SILENT | PAM_DISALLOW_NULL_AUTHTOK;
  if (password != nullptr) result = pam.authenticate(handle, flags);
  if (result == PAM_SUCCESS) result = pam.account(handle, flags);
  pam.end(handle, result);
  return result == PAM_SUCCESS;
}

void forget_signals() {
  sigset_t none;
  sigemptyset(&none);
  for (const int number : {SIGTERM, SIGINT, SIGHUP, SIGCHLD, SIGALRM, SIGUSR1, SIGUSR2})
    ::signal(number, SIG_DFL);
  ::sigprocmask(SIG_SETMASK, &none, nullptr);
}

// PAM modules must not inherit the service's stores, sockets and locks, nor its terminal.
void leave_only(int outcome) {
  ::closelog();
  if (outcome != outcome_in_child) ::dup3(outcome, outcome_in_child, O_CLOEXEC);
  const int nowhere = ::open("/dev/null", O_RDWR);
  for (const int standard : {0, 1, 2})
    ::dup2(nowhere, standard);
  ::close_range(outcome_in_child + 1, UINT_MAX, 0);
}

[[noreturn]] void be_child(int outcome, const std::string &user, const ClearText *password) {
  const rlimit no_core = {0, 0};
  ::setrlimit(RLIMIT_CORE, &no_core);
  ::prctl(PR_SET_DUMPABLE, 0);
  ::prctl(PR_SET_PDEATHSIG, SIGKILL);
  forget_signals();
  leave_only(outcome);
  const unsigned char word = pam_accepts(user, password) ? accepted : refused;
  const ssize_t written = ::write(outcome_in_child, &word, sizeof word);
  ::_exit(written == sizeof word ? 0 : 1);
}

Error refused_because(const std::string &user, const char *what, const char *reason, uint32_t status) {
  tarn_syslog(LOG_WARNING, "%s of user %s for the scheduler %s", what, user.c_str(), reason);
  return error_of(status);
}

}  // namespace

void use_pam_services(const char *directory) {
  services = directory;
}

Result<std::shared_ptr<Authentication>> Authentication::start(const std::string &user, const ClearText &password) {
  return begin(user, &password);
}

Result<std::shared_ptr<Authentication>> Authentication::of_account(const std::string &user) {
  return begin(user, nullptr);
}

Result<std::shared_ptr<Authentication>> Authentication::begin(const std::string &user, const ClearText *password) {
  if (running >= authentications_at_once) return error_of(err_busy);
  const auto failed = [] {
    return Error{err_io, std::string("an authentication cannot be started: ") + std::strerror(errno)};
  };
  int ends[2];
  if (::pipe2(ends, O_CLOEXEC | O_NONBLOCK) != 0) return failed();
  FileDescriptor outcome(ends[0]), into(ends[1]);
  const pid_t child = ::fork();
  if (child < 0) return failed();
  ::setpgid(child, child);  // in parent and child, so that neither depends on which of them runs first
  if (child == 0) be_child(into.get(), user, password);
  return std::shared_ptr<Authentication>(new Authentication(user, password == nullptr, std::move(outcome), child));
}

Authentication::Authentication(std::string user, bool of_account, FileDescriptor outcome, pid_t child)
    : user_(std::move(user)), of_account_(of_account), outcome_(std::move(outcome)), child_(child) {
  descriptor = outcome_.get();
  deadline_ms = authentication_deadline_ms;
  running++;
}

Authentication::~Authentication() {
  end_child();
  running--;
}

void Authentication::end_child() {
  if (child_ <= 0) return;
  ::kill(-child_, SIGKILL);  // the group: modules may have started programs
  while (::waitpid(child_, nullptr, 0) < 0 && errno == EINTR) {
  }
  child_ = 0;
}

Result<void> Authentication::result() {
  unsigned char word = 0;
  const ssize_t count = ::read(outcome_.get(), &word, sizeof word);
  const bool no_answer = count < 0 && errno == EAGAIN;
  end_child();
  const char *what = of_account_ ? "account" : "authentication";
  if (no_answer)
    return refused_because(user_, what, "took too long; see the servers of its PAM modules", err_timed_out);
  if (count == sizeof word && word == accepted) return {};
  return refused_because(user_, what, count == 0 ? "broke off" : "was refused",
                         of_account_ ? err_account_refused : SCH_STATUS_AUTHENTICATION_FAILED);
}

Answer Authentication::answer() {
  Answer answer;
  answer.status = result().code();
  return answer;
}

Result<void> Authentication::wait() {
  using std::chrono::milliseconds;
  const auto end = std::chrono::steady_clock::now() + milliseconds(deadline_ms);
  for (;;) {
    const auto left = std::chrono::ceil<milliseconds>(end - std::chrono::steady_clock::now()).count();
    pollfd watched = {descriptor, POLLIN, 0};
    if (left <= 0 || ::poll(&watched, 1, static_cast<int>(left)) >= 0 || errno != EINTR) return result();
  }
}

}  // namespace host
