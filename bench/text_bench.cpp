// SPDX-License-Identifier: Apache-2.0
// text_bench STATE: the configuration of a stopped service's state directory, restored and written as text, beside what
// the library needs for it alone.
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

constexpr int rounds = 31;

bool without_host = false;
std::vector<char> bare;
std::size_t bare_size = 0;

// The records of a store, one behind the other as they were read.
class Copied {
 public:
  void take(pss_handle store) {
    bytes_.reserve(std::size_t{64} << 20);
    pss_cursor cursor = {};
    for (const pss_buf *key = pss_move2location(store, PSS_FIRST, &cursor); key != nullptr;
         key = pss_move2location(store, PSS_NEXT, &cursor)) {
      put(*key);
      put(*pss_getvalue(store, &cursor));
    }
  }

  const pss_buf *at(std::size_t place) {
    if (place >= ends_.size()) return nullptr;
    const std::size_t begin = place == 0 ? 0 : ends_[place - 1];
    given_ = {bytes_.data() + begin, static_cast<uint32_t>(ends_[place] - begin)};
    return &given_;
  }

 private:
  void put(const pss_buf &part) {
    const auto *begin = static_cast<const char *>(part.data);
    bytes_.insert(bytes_.end(), begin, begin + part.length);
    ends_.push_back(bytes_.size());
  }

  std::vector<char> bytes_;
  std::vector<std::size_t> ends_;  // of each key and each value
  pss_buf given_ = {};
};

struct CopiedStore {
  const char *uri;
  pss_handle &handle;
  Copied records = {};
} copied_stores[] = {{sch_pss_running_uri, pss_running}, {sch_pss_running_db_uri, pss_running_db}};

Copied &copied(pss_handle store) {
  return std::ranges::find_if(copied_stores, [&](const CopiedStore &one) { return one.handle == store; })->records;
}

void open_stores() {
  for (CopiedStore &store : copied_stores) {
    uint32_t error = 0;
    if ((store.handle = pss_open(store.uri, &error)) == 0) std::abort();
  }
}

template <typename Function>
Function *of_host(Function *, const char *name) {
  return reinterpret_cast<Function *>(dlsym(RTLD_NEXT, name));
}

}  // namespace

// What follows comes before the host's for the library. The floor copies the text to where it ends up, and no more; it
// gives records from memory, where they lie in their order.
extern "C" int acfg_elem_str_add_indent(acfg_hdl *handle, uint32_t element, const char *text, uint32_t indent) {
  static auto *const host = of_host(acfg_elem_str_add_indent, "acfg_elem_str_add_indent");
  if (!without_host) return host(handle, element, text, indent);
  const std::size_t size = std::strlen(text);
  if (bare_size + size > bare.size()) bare_size = 0;
  std::memcpy(bare.data() + bare_size, text, size);
  bare_size += size;
  return 0;
}

extern "C" const pss_buf *pss_move2location(pss_handle store, uint32_t where, pss_cursor *cursor) {
  static auto *const host = of_host(pss_move2location, "pss_move2location");
  if (!without_host) return host(store, where, cursor);
  uint32_t &place = cursor->platform[0];
  place = where == PSS_FIRST ? 0 : place + 2;
  return copied(store).at(place);
}

extern "C" const pss_buf *pss_getvalue(pss_handle store, pss_cursor *cursor) {
  static auto *const host = of_host(pss_getvalue, "pss_getvalue");
  return without_host ? copied(store).at(cursor->platform[0] + 1) : host(store, cursor);
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

void restore() {
  sch_restore_config_from_pss(&sch_running_config, pss_running);
  sch_restore_db_from_pss(&sch_running_config, pss_running_db);
  if (sch_schedule_list == nullptr) std::abort();
}

// In a process of its own: a restore is for the start of one.
double restored_in_a_child() {
  int ends[2];
  if (pipe(ends) != 0) return 0;
  const pid_t child = fork();
  if (child == 0) {
    open_stores();
    const double taken = bench::microseconds(restore);
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

}  // namespace

int main(int count, char **arguments) {
  if (count != 2) return 2;
  host::use_paths(host::resolve_paths(arguments[1]));
  if (!host::sysmgr_prepare(host::BootFrom::running)) return 1;
  sch_pss_uri_init();
  open_stores();
  for (CopiedStore &store : copied_stores) {
    store.records.take(store.handle);
    pss_close(store.handle);
  }
  bench::Samples restored, from_memory, generated, copied;
  for (int i = 0; i < rounds; i++) {
    without_host = false;
    restored.push_back(restored_in_a_child());
    without_host = true;
    from_memory.push_back(restored_in_a_child());
  }
  bench::print_row("restore of full tables", "us", restored, from_memory, "from memory", 1.2);
  without_host = false;
  open_stores();
  restore();
  generate(&generated, &copied);
  bench::print_row("configuration text of full tables", "us", generated, copied, "copied", 1.2);
  std::fflush(stdout);
  _exit(0);  // the stores stay as they are
}
