// SPDX-License-Identifier: Apache-2.0
// text_bench STATE: the configuration of a stopped service's state directory, restored and written as text, beside what
// the library and the store need for it alone.
#include <dlfcn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>

#include "bench/rows.h"
#include "host/acfg.h"
#include "host/files/paths.h"
#include "host/sysmgr.h"
#include "platform/acfg.h"
#include "schedcli.h"

namespace {

constexpr int rounds = 15;

bool without_host = false;
std::vector<char> bare;
std::size_t bare_size = 0;

}  // namespace

// Comes before the host's for the library: the floor copies the text to where it ends up, and no more.
extern "C" int acfg_elem_str_add_indent(acfg_hdl *handle, uint32_t element, const char *text, uint32_t indent) {
  static auto *const host =
      reinterpret_cast<decltype(&acfg_elem_str_add_indent)>(dlsym(RTLD_NEXT, "acfg_elem_str_add_indent"));
  if (!without_host) return host(handle, element, text, indent);
  const std::size_t size = std::strlen(text);
  if (bare_size + size > bare.size()) bare_size = 0;
  std::memcpy(bare.data() + bare_size, text, size);
  bare_size += size;
  return 0;
}

namespace {

void generate(bench::Samples *ours, bench::Samples *floor) {
  bare.resize(std::size_t{64} << 20, 'x');
  for (int i = 0; i < rounds; i++) {
    without_host = false;
    ours->push_back(bench::microseconds([] { (void)host::configuration_text(host::ConfigType::running); }));
    without_host = true;
    bare_size = 0;
    floor->push_back(bench::microseconds([] { (void)host::configuration_text(host::ConfigType::running); }));
  }
}

void walk_all() {
  uint32_t error = 0;
  const pss_handle store = pss_open(sch_pss_running_uri, &error);
  pss_cursor cursor = {};
  for (const pss_buf *key = pss_move2location(store, PSS_FIRST, &cursor); key != nullptr;
       key = pss_move2location(store, PSS_NEXT, &cursor))
    (void)pss_getvalue(store, &cursor);
  pss_close(store);
}

// In a process of its own: a restore is for the start of one.
double in_a_child(void (*work)()) {
  int ends[2];
  if (pipe(ends) != 0) return 0;
  const pid_t child = fork();
  if (child == 0) {
    const double taken = bench::microseconds(work);
    _exit(write(ends[1], &taken, sizeof taken) == sizeof taken ? 0 : 1);
  }
  double taken = 0;
  const bool told = read(ends[0], &taken, sizeof taken) == sizeof taken;
  waitpid(child, nullptr, 0);
  close(ends[0]);
  close(ends[1]);
  if (!told) std::abort();
  return taken;
}

void restore() {
  if (sch_pss_init() != 0) std::abort();
}

}  // namespace

int main(int count, char **arguments) {
  if (count != 2) return 2;
  host::use_paths(host::resolve_paths(arguments[1]));
  if (!host::sysmgr_prepare(host::BootFrom::running)) return 1;
  sch_pss_uri_init();
  bench::Samples restored, walked, generated, copied;
  for (int i = 0; i < rounds; i++) {
    restored.push_back(in_a_child(restore));
    walked.push_back(in_a_child(walk_all));
  }
  bench::print_row("restore of full tables", "us", restored, walked, "walk", 0);
  restore();
  generate(&generated, &copied);
  bench::print_row("configuration text of full tables", "us", generated, copied, "copied", 1.2);
  std::fflush(stdout);
  _exit(0);  // the stores stay as they are
}
