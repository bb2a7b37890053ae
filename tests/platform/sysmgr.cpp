// SPDX-License-Identifier: Apache-2.0
#include "platform/sysmgr.h"

#include "tests/platform/state.h"

using namespace platform_test;

const char *sysmgr_running_cfg_uri_get(void) {
  note("sysmgr_running_cfg_uri_get");
  return fake.running_base;
}

const char *sysmgr_startup_cfg_uri_get(void) {
  note("sysmgr_startup_cfg_uri_get");
  return fake.startup_base;
}

const char *sysmgr_debug_cfg_uri_get(void) {
  note("sysmgr_debug_cfg_uri_get");
  return fake.debug_base;
}

const char *sysmgr_uri_complete(const char *base, const char *empty, const char *name) {
  note("sysmgr_uri_complete %s %s %s", base, empty, name);
  if (fake.uncompletable.contains(name)) return nullptr;
  return interned(std::string(base) + empty + name);
}

int sysmgr_is_stateless_restart(void) {
  note("sysmgr_is_stateless_restart");
  return fake.stateless ? 1 : 0;
}
