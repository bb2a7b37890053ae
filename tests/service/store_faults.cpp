// SPDX-License-Identifier: Apache-2.0
#include "tests/service/store_faults.h"

#include <dlfcn.h>

#include <csignal>

#include "host/status.h"
#include "host/store/store.h"
#include "platform/pss.h"

namespace service_test {
namespace {

int calls_until_failure = 0;
bool has_failed = false;
int points_until_death = 0;
int writes = 0, commits = 0;

void maybe_die() {
  if (points_until_death != 0 && --points_until_death == 0) raise(SIGKILL);
}

template <typename Call>
auto between_points(Call call) {
  maybe_die();
  const auto result = call();
  maybe_die();
  return result;
}

bool fails_now() {
  if (calls_until_failure == 0 || --calls_until_failure != 0) return false;
  return has_failed = true;
}

template <typename Function>
Function *real(Function *, const char *name) {
  return reinterpret_cast<Function *>(dlsym(RTLD_NEXT, name));
}

}  // namespace

void fail_store_call(int nth) {
  calls_until_failure = nth;
  has_failed = false;
}

void die_at_store_call(int point) {
  points_until_death = point;
}

int store_writes() {
  return writes;
}
int store_commits() {
  return commits;
}

bool store_call_failed() {
  return has_failed;
}

}  // namespace service_test

// These come before the host's for every caller in the process.
extern "C" uint32_t pss_store(pss_handle store, uint32_t count, const pss_buf *keys, const pss_buf *values) {
  static auto *const stored = service_test::real(&pss_store, "pss_store");
  service_test::writes++;
  if (service_test::fails_now()) return host::err_store_io;
  return service_test::between_points([&] { return stored(store, count, keys, values); });
}

host::Result<void> host::store_commit(pss_handle store) {
  static auto *const committed = service_test::real(&host::store_commit, "_ZN4host12store_commitEj");
  service_test::commits++;
  if (!service_test::fails_now()) return service_test::between_points([&] { return committed(store); });
  host::store_abort(store);
  return host::Error{host::err_store_io, "the disk refuses"};
}
