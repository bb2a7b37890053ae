/* SPDX-License-Identifier: Apache-2.0 */
/* The small services of a platform: memory, messages, errors, users, features, traces. */
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>

#include "platform/bitset.h"
#include "platform/debug.h"
#include "platform/errors.h"
#include "platform/feature.h"
#include "platform/memory.h"
#include "platform/security.h"
#include "platform/syslog.h"
#include "platform/uri.h"
#include "switch.h"

/* A product counts by mem_type, enum sch_memory_type. */
void *mtrack_alloc(uint32_t owner, uint32_t mem_type, uint32_t size) {
  return malloc(size != 0 ? size : 1);
}

void mtrack_free(void *memory) {
  free(memory);
}

int tarn_syslog(int priority, const char *format, ...) {
  va_list arguments;
  int written;
  va_start(arguments, format);
  written = vfprintf(stderr, format, arguments);
  va_end(arguments);
  fputc('\n', stderr);
  return written;
}

const char *syserr2str(uint32_t error) {
  static const struct {
    uint32_t code;
    const char *text;
  } texts[] = {
      {SCH_STATUS_EXISTS, "it exists already"},
      {SCH_STATUS_TIME_OUT_OF_RANGE, "a value of the time is out of range"},
      {SCH_STATUS_TIME_IN_PAST, "the time has passed"},
      {SWITCH_ENABLED_ALREADY, "the feature is enabled already"},
      {SWITCH_DISABLED_ALREADY, "the feature is disabled already"},
      {SWITCH_DISABLED, "the scheduler is disabled"},
      {SWITCH_NOT_OFFERED, "this switch does not offer it"},
      {SWITCH_BAD_REQUEST, "the request does not fit"},
      {SWITCH_NO_SUCH_NAME, "there is none of that name"},
      {SWITCH_TABLE_FULL, "there is no room for another job"},
      {SWITCH_NO_MEMORY, "out of memory"},
      {SWITCH_NOT_STORED, "it could not be stored"},
      {SWITCH_NO_SUCH_STORE, "there is no such store"},
      {SWITCH_TOO_LARGE, "it is too large"},
  };
  size_t i;
  for (i = 0; i < sizeof texts / sizeof texts[0]; ++i)
    if (texts[i].code == error) return texts[i].text;
  return "unknown error";
}

int bitset_next_bit(const uint32_t *set, int bits, int after) {
  int bit;
  for (bit = after + 1; bit < bits; ++bit)
    if ((set[bit / 32] >> bit % 32 & 1u) != 0) return bit;
  return -1;
}

/* In a product enabling the feature starts the service; here the service only begins to accept requests. */
uint32_t fm_cmi_set_feature_wait(uint32_t shell_handle, const char *feature, const char *user_name,
                                 const char *peer_name, uint32_t operation) {
  return service_enable(operation == 3);
}

int vsh_deregister_parse_tree(uint32_t shell_handle, const char *tree) {
  return 0;
}

/* Everybody is a local user: nobody needs a stored password. */
int check_if_user_remote(uint32_t shell_handle, const char *user_name) {
  return 0;
}

int cmi_security_user_config(uint32_t shell_handle, uint32_t operation, struct sch_security_user_rec *record) {
  return -1;
}

int security_conf_decrypt(const char *text, uint32_t length_with_nul, uint32_t form, uint32_t zero1, uint32_t zero2,
                          char **clear, uint32_t *clear_length) {
  return -1;
}

int aaa_scheduler_authenticate(const char *user_name, const char *clear_password, const char *service,
                               const char *method_list, const char *host_name, uint32_t zero, aaa_result *result) {
  return -1;
}

/* The shell hands file URIs on as texts. */
int uri_map_targetfs_path_get(const void *uri, char *path, uint32_t size) {
  return g_snprintf(path, size, "%s", (const char *)uri);
}

int snprintf_uri_len(char *text, uint32_t size, const void *uri) {
  return g_snprintf(text, size, "%s", (const char *)uri);
}

/* No traces: the history refuses every subtype, and no level goes to buginf(). */
const char sdwrap_dbg_modname[] = "scheduler";

int sdwrap_hist_event(uint32_t module, uint32_t length, const void *record) {
  return 0;
}

int sdwrap_hist_event_subtype_check(uint32_t module, uint32_t subtype) {
  return 1;
}

int sdwrap_chk_int(int level, int zero1, int zero2, int one) {
  return 0;
}

int buginf(int one, const char *modname, int zero, const char *format, ...) {
  return 0;
}

int sdwrap_debug_dump(uint32_t shell_handle, uint32_t destination, uint32_t constant_136, const uint32_t argument[2],
                      const char *text) {
  return 0;
}

void sdwrap_dbg_clean(void *arg) {}

int sdwrap_sys_clean(void *arg) {
  return 0;
}
