// SPDX-License-Identifier: Apache-2.0
#include "service/process/pam_session.h"

#include <dlfcn.h>
#include <security/pam_appl.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

namespace service {
namespace {

constexpr char pam_service[] = "schedcli";

struct Pam {
  decltype(&pam_start_confdir) start;
  decltype(&pam_set_item) set_item;
  decltype(&pam_acct_mgmt) account;
  decltype(&pam_setcred) credentials;
  decltype(&pam_open_session) open;
  decltype(&pam_close_session) close;
  decltype(&pam_getenvlist) environment;
  decltype(&pam_strerror) error_text;
  decltype(&pam_end) end;
};
Pam pam;

template <class Function>
bool load(void *library, const char *name, Function *function) {
  *function = reinterpret_cast<Function>(dlsym(library, name));
  return *function != nullptr;
}

bool load_pam() {
  void *library = dlopen("libpam.so.0", RTLD_NOW | RTLD_GLOBAL);  // global, as modules look for its symbols
  return library != nullptr && load(library, "pam_start_confdir", &pam.start) &&
         load(library, "pam_set_item", &pam.set_item) && load(library, "pam_acct_mgmt", &pam.account) &&
         load(library, "pam_setcred", &pam.credentials) && load(library, "pam_open_session", &pam.open) &&
         load(library, "pam_close_session", &pam.close) && load(library, "pam_getenvlist", &pam.environment) &&
         load(library, "pam_strerror", &pam.error_text) && load(library, "pam_end", &pam.end);
}

// Messages of the modules are kept for the report. A question is an error, as nobody can answer it.
int converse(int count, const pam_message **messages, pam_response **answers, void *kept) {
  char *text = static_cast<Report *>(kept)->text;
  for (int i = 0; i < count; i++) {
    if (messages[i]->msg_style != PAM_TEXT_INFO && messages[i]->msg_style != PAM_ERROR_MSG) return PAM_CONV_ERR;
    std::strncpy(text, messages[i]->msg, sizeof(Report::text) - 1);
  }
  *answers = static_cast<pam_response *>(std::calloc(static_cast<size_t>(count), sizeof(pam_response)));
  return *answers == nullptr ? PAM_BUF_ERR : PAM_SUCCESS;
}

bool has_variable(const Job &job, const char *variable) {
  const size_t size = static_cast<size_t>(std::strchr(variable, '=') - variable) + 1;
  for (char *const *own = job.environment.data(); *own != nullptr; own++)
    if (std::strncmp(*own, variable, size) == 0) return true;
  return false;
}

Report refusal;  // collects the modules' messages

bool fail(int channel, Stage stage, const char *text) {
  refusal.kind = Report::Kind::failed;
  refusal.stage = stage;
  refusal.error = EACCES;
  if (refusal.text[0] == 0) std::strncpy(refusal.text, text, sizeof refusal.text - 1);
  report(channel, refusal);
  return false;
}

}  // namespace

bool PamSession::open(const Job &job) {
  if (!load_pam()) return fail(job.channel, Stage::session, "PAM's library cannot be loaded");
  const pam_conv conversation = {converse, &refusal};
  const char *directory = job.pam_directory[0] == 0 ? nullptr : job.pam_directory;
  pam_handle_t *handle = nullptr;
  int result = pam.start(pam_service, job.user, &conversation, directory, &handle);
  if (result != PAM_SUCCESS) return fail(job.channel, Stage::account, "PAM cannot be used");
  pam.set_item(handle, PAM_TTY, pam_service);  // some modules fail without a terminal's name
  Stage stage = Stage::account;
  result = pam.account(handle, 0);
  if (result == PAM_SUCCESS) {
    stage = Stage::session;
    refusal.text[0] = 0;
    result = pam.credentials(handle, PAM_ESTABLISH_CRED);
  }
  if (result == PAM_SUCCESS) result = pam.open(handle, PAM_SILENT);
  if (result == PAM_SUCCESS) {
    handle_ = handle;
    return true;
  }
  fail(job.channel, stage, pam.error_text(handle, result));
  pam.end(handle, result);
  return false;
}

void PamSession::add_environment(Job *job) {
  char **variables = pam.environment(static_cast<pam_handle_t *>(handle_));
  size_t count = job->launch->variable_count;
  for (; variables != nullptr && *variables != nullptr; variables++)
    if (count < launch_strings_max && std::strchr(*variables, '=') != nullptr && !has_variable(*job, *variables))
      job->environment[count++] = *variables;
}

void PamSession::close() {
  if (handle_ == nullptr) return;
  auto *handle = static_cast<pam_handle_t *>(handle_);
  handle_ = nullptr;
  const int result = pam.close(handle, PAM_SILENT);
  pam.credentials(handle, PAM_DELETE_CRED | PAM_SILENT);
  pam.end(handle, result);
}

}  // namespace service
