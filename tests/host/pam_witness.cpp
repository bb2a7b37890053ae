// SPDX-License-Identifier: Apache-2.0
// A PAM module that writes down what it finds around it, and how its questions are answered. Its arguments: the file
// for that, and the password that it accepts. Without them it ends its process.
#include <fcntl.h>
#include <security/pam_modules.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace {

struct Question {
  int style;
  const char *text;
};

std::string descriptors() {
  std::string found;
  for (int descriptor = 0; descriptor < 256; descriptor++) {
    struct stat file = {};
    if (fstat(descriptor, &file) != 0) continue;
    const bool nowhere = S_ISCHR(file.st_mode) && file.st_rdev == makedev(1, 3);
    found += " " + std::to_string(descriptor) + (nowhere ? " nowhere" : S_ISFIFO(file.st_mode) ? " pipe" : " other");
  }
  return found;
}

std::string signals() {
  std::string found;
  sigset_t blocked;
  sigprocmask(SIG_BLOCK, nullptr, &blocked);
  for (const int number : {SIGTERM, SIGINT, SIGHUP, SIGCHLD, SIGALRM, SIGUSR1, SIGUSR2}) {
    struct sigaction action = {};
    sigaction(number, nullptr, &action);
    const bool is_usual = action.sa_handler == SIG_DFL && sigismember(&blocked, number) == 0;
    found += is_usual ? " usual" : std::string(" ") + strsignal(number);
  }
  return found;
}

std::string process() {
  rlimit core = {};
  int death = 0;
  getrlimit(RLIMIT_CORE, &core);
  prctl(PR_GET_PDEATHSIG, &death);
  return " core " + std::to_string(core.rlim_cur) + " dumpable " + std::to_string(prctl(PR_GET_DUMPABLE)) +
         " ends by " + std::to_string(death) + (getpgrp() == getpid() ? " leads" : " follows");
}

// The answers, "none" for one without, or "refused".
std::string answers(const pam_conv &conversation, const std::vector<Question> &questions) {
  std::vector<pam_message> messages;
  std::vector<const pam_message *> pointers;
  for (const Question &question : questions)
    messages.push_back({question.style, question.text});
  for (const pam_message &message : messages)
    pointers.push_back(&message);
  pam_response *given = nullptr;
  const int count = static_cast<int>(questions.size());
  if (conversation.conv(count, pointers.data(), &given, conversation.appdata_ptr) != PAM_SUCCESS) return " refused";
  std::string found;
  for (int i = 0; i < count && i < 4; i++)
    found += std::string(" ") + (given[i].resp != nullptr ? given[i].resp : "none");
  for (int i = 0; i < count; i++)
    free(given[i].resp);
  free(given);
  return found;
}

std::string conversation_of(const pam_conv &conversation) {
  const Question info = {PAM_TEXT_INFO, "hello"}, error = {PAM_ERROR_MSG, "hm"}, hidden = {PAM_PROMPT_ECHO_OFF, "?"},
                 shown = {PAM_PROMPT_ECHO_ON, "who?"};
  const auto many = [&](int count) { return std::vector<Question>(static_cast<std::size_t>(count), info); };
  return "told and asked" + answers(conversation, {info, error, hidden}) + "\n" +  //
         "asked openly" + answers(conversation, {shown}) + "\n" +                  //
         "asked both" + answers(conversation, {hidden, shown}) + "\n" +            //
         "asked nothing" + answers(conversation, {}) + "\n" +                      //
         "told most" + answers(conversation, many(PAM_MAX_NUM_MSG)) + "\n" +       //
         "told more" + answers(conversation, many(PAM_MAX_NUM_MSG + 1)) + "\n";
}

int witness(pam_handle_t *handle, int flags, int count, const char **arguments, const char *call) {
  if (count == 0) _exit(0);
  if (count != 2) return PAM_SERVICE_ERR;
  const void *found = nullptr;
  if (pam_get_item(handle, PAM_CONV, &found) != PAM_SUCCESS) return PAM_SERVICE_ERR;
  const auto &conversation = *static_cast<const pam_conv *>(found);
  const auto asked = static_cast<unsigned>(flags);
  const std::string around = descriptors();  // before it opens one itself
  FILE *file = fopen(arguments[0], "a");
  if (file == nullptr) return PAM_SERVICE_ERR;
  fprintf(file, "%s\ndescriptors%s\nsignals%s\nprocess%s\n%s%s", call, around.c_str(), signals().c_str(),
          process().c_str(), (asked & PAM_SILENT) != 0 ? "silent\n" : "",
          (asked & PAM_DISALLOW_NULL_AUTHTOK) != 0 ? "no empty password\n" : "");
  fputs(conversation_of(conversation).c_str(), file);
  fclose(file);
  return answers(conversation, {{PAM_PROMPT_ECHO_OFF, "?"}}) == std::string(" ") + arguments[1] ? PAM_SUCCESS
                                                                                                : PAM_AUTH_ERR;
}

}  // namespace

extern "C" [[gnu::visibility("default")]] int pam_sm_authenticate(pam_handle_t *handle, int flags, int count,
                                                                  const char **arguments) {
  return witness(handle, flags, count, arguments, "authenticate");
}

extern "C" [[gnu::visibility("default")]] int pam_sm_setcred(pam_handle_t *, int, int, const char **) {
  return PAM_SUCCESS;
}

extern "C" [[gnu::visibility("default")]] int pam_sm_acct_mgmt(pam_handle_t *handle, int flags, int count,
                                                               const char **arguments) {
  witness(handle, flags, count, arguments, "account");
  return PAM_SUCCESS;
}
