// SPDX-License-Identifier: Apache-2.0
#include "tests/acfg/platform_hooks.h"

#include "schedcli.h"

namespace acfg_test {

PlatformHooks hooks;

}  // namespace acfg_test

using acfg_test::hooks;

extern "C" {

int __real_bitset_next_bit(const uint32_t *set, int bits, int after);
const pss_buf *__real_sch_get_syslog_pss_key(void);
pss_handle __real_pss_open(const char *uri, uint32_t *error);
const pss_buf *__real_pss2_fetch(pss_handle store, const pss_buf *key, uint32_t *error);
const char *__real_acfg_uri_complete(const char *prefix, const char *empty, const char *store);

int __wrap_bitset_next_bit(const uint32_t *set, int bits, int after) {
  if (hooks.bits.empty()) return __real_bitset_next_bit(set, bits, after);
  for (const int bit : hooks.bits) {
    if (bit > after) return bit;
  }
  return -1;
}

const pss_buf *__wrap_sch_get_syslog_pss_key(void) {
  static const pss_buf without_data = {nullptr, 4};
  if (hooks.no_key) return nullptr;
  return hooks.key_without_data ? &without_data : __real_sch_get_syslog_pss_key();
}

// Both write the error word on failure alone, as a platform may.
pss_handle __wrap_pss_open(const char *uri, uint32_t *error) {
  uint32_t own_error = 0;
  const pss_handle handle = __real_pss_open(uri, &own_error);
  if (own_error != 0) *error = own_error;
  if (hooks.error_on_open_of == uri) *error = 0x40480005;
  return handle;
}

const pss_buf *__wrap_pss2_fetch(pss_handle store, const pss_buf *key, uint32_t *error) {
  uint32_t own_error = 0;
  const pss_buf *value = __real_pss2_fetch(store, key, &own_error);
  if (hooks.null_without_error) return nullptr;
  if (own_error != 0) *error = own_error;
  if (hooks.value_with_error) *error = 0x40480005;
  return value;
}

const char *__wrap_acfg_uri_complete(const char *prefix, const char *empty, const char *store) {
  if (hooks.no_startup_uri && std::string(store) == "scheduler_startup") return nullptr;
  return __real_acfg_uri_complete(prefix, empty, store);
}
}
