// SPDX-License-Identifier: Apache-2.0
#include "host/errors.h"

#include <algorithm>
#include <cstdio>

#include "host/status.h"
#include "platform/errors.h"
#include "schedcli.h"

namespace {

using host::ErrorText;

// Each says what is wrong and, where an operator can do something about it, what to do.
constexpr ErrorText error_texts[] = {
    {0, "success"},

    {SCH_STATUS_EXISTS, "it exists already"},
    {SCH_STATUS_NO_USER_NAME, "the user name is missing"},
    {SCH_STATUS_BAD_TIME_FORMAT, "incorrect time format"},
    {SCH_STATUS_BAD_TIME_FORMAT_2, "incorrect time format"},
    {SCH_STATUS_TIME_OUT_OF_RANGE, "time value out of range"},
    {SCH_STATUS_TIME_IN_PAST, "the time is in the past"},
    {SCH_STATUS_AUTHENTICATION_FAILED,
     "the remote user was not authenticated; check the password of 'scheduler aaa-authentication'"},
    {SCH_STATUS_NO_PASSWORD,
     "this remote user has no scheduler password; set one with 'scheduler aaa-authentication password'"},

    {host::err_not_running, "the scheduler service is not running; start schedd, or check the state directory"},
    {host::err_not_permitted, "not permitted for this user"},
    {host::err_too_large, "the request or its reply is too large"},
    {host::err_timed_out, "the scheduler service did not answer in time"},
    {host::err_bad_reply,
     "the scheduler service sent an unexpected reply; check that shell and service have the same version"},
    {host::err_bad_request, "the request is malformed"},
    {host::err_unknown_service, "no such service; check that shell and service have the same version"},
    {host::err_unknown_opcode,
     "the service does not know this request; check that shell and service have the same version"},
    {host::err_bad_value, "a value is out of its range"},
    {host::err_absent, "no such file or directory"},
    {host::err_state_newer, "the state directory was written by a newer version of the service; install that"},
    {host::err_no_memory, "out of memory"},
    {host::err_busy, "the scheduler service is busy; try again"},
    {host::err_io, "input or output failed; see the system log"},
    {host::err_cut_off, "the scheduler service ended before it answered; check what it did before you try again"},
    {host::err_too_many_connections,
     "this user has too many connections to the scheduler service; end some shells first"},
    {host::err_too_many_streams, "this user has too many outputs under way; read or close one of them first"},
    {host::err_account_refused, "this user's account is locked or has expired; ask the administrator"},
    {host::err_password_too_long, "the password is longer than the 53 bytes that can be sealed"},

    {PSS_ERR_EXISTS, "the store exists already"},
    {PSS_ERR_NO_KEY, "no such record in the store"},
    {host::err_store_bad_handle, "the store is not open"},
    {host::err_store_limit, "the record's key or value has a length that the store does not accept"},
    {host::err_store_full, "the store or its disk is full; free space and try again"},
    {host::err_store_absent, "no store of that name"},
    {host::err_store_unusable,
     "the file is damaged or not a store of this machine; move it away, or restore it with 'store load'"},
    {host::err_store_io, "reading or writing the store failed; see the system log"},
    {host::err_store_uri, "not the name of a store; use running:, startup: or debug: and a name"},
    {host::err_store_gone,
     "the state directory has been removed or replaced under the service, so nothing was changed; put it back, or "
     "start the service again"},
    {host::err_store_busy, "the store is in use; stop the scheduler service first"},

    {host::err_feature_enabled, "the feature is enabled already"},
    {host::err_feature_disabled, "the feature is disabled already"},
    {host::err_feature_unknown, "no such feature"},
};

host::ErrorTextSource texts_of_program = nullptr;

}  // namespace

namespace host {

const char *find_text(std::span<const ErrorText> texts, uint32_t code) {
  const auto found = std::ranges::find(texts, code, &ErrorText::code);
  return found == texts.end() ? nullptr : found->text;
}

void use_error_texts(ErrorTextSource source) {
  texts_of_program = source;
}

Error error_of(uint32_t code) {
  return {code, syserr2str(code)};
}

}  // namespace host

extern "C" const char *syserr2str(uint32_t error) {
  if (const char *text = host::find_text(error_texts, error)) return text;
  if (const char *text = texts_of_program == nullptr ? nullptr : texts_of_program(error)) return text;
  static thread_local char unknown[32];
  std::snprintf(unknown, sizeof unknown, "unknown error 0x%08x", error);
  return unknown;
}
