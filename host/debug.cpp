// SPDX-License-Identifier: Apache-2.0
#include "host/debug.h"

#include <syslog.h>

#include <algorithm>
#include <atomic>
#include <cctype>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <mutex>
#include <new>
#include <vector>

#include "host/guard.h"
#include "host/transport/transport.h"
#include "platform/debug.h"

extern const char sdwrap_dbg_modname[] = "scheduler";

namespace {

struct Event {
  timespec when = {};
  uint32_t subtype = 0;
  std::string text = {};
};

// A ring whose events keep their memory: a trace costs a copy and no allocation once the ring is full.
class History {
 public:
  void add(uint32_t subtype, const char *text, size_t length) {
    if (next_ == events_.size() && next_ < host::history_event_limit) events_.emplace_back();
    Event &event = events_[next_ % host::history_event_limit];
    event.text.assign(text, length);
    event.subtype = subtype;
    clock_gettime(CLOCK_REALTIME, &event.when);
    next_++;
  }

  void clear() { *this = {}; }

  template <typename Visit>
  void for_each(Visit visit) const {  // oldest first
    for (size_t i = next_ - std::min(next_, host::history_event_limit); i < next_; i++)
      visit(events_[i % host::history_event_limit]);
  }

 private:
  std::vector<Event> events_;
  size_t next_ = 0;  // how many were added
};

// Lock-free, as it is asked twice for each trace.
class Switches {
 public:
  bool operator[](size_t level) const { return level < std::size(on_) && on_[level].load(std::memory_order_relaxed); }
  void set(size_t level, bool on) { on_[level].store(on, std::memory_order_relaxed); }
  void reset() {
    for (auto &level : on_)
      level.store(false, std::memory_order_relaxed);
  }

 private:
  std::atomic<bool> on_[host::debug_levels] = {};
};

struct Debug {
  std::mutex mutex;
  History history;
  Switches history_off;
  bool journal = false;
};

Debug &debug() {
  static auto &instance = *new Debug;
  return instance;
}

// Escapes newlines, so that an operator's text in an event cannot pass for further events.
std::string one_line(std::string line) {
  while (!line.empty() && line.back() == '\n')
    line.pop_back();
  for (char &character : line) {
    if (std::iscntrl(static_cast<unsigned char>(character)) != 0) character = ' ';
  }
  return line;
}

std::string formatted(const char *format, va_list arguments) {
  char text[host::history_text_limit + 1];
  std::vsnprintf(text, sizeof text, format, arguments);
  return one_line(text);
}

std::string event_line(const Event &event) {
  tm local{};
  localtime_r(&event.when.tv_sec, &local);
  char date[32], head[64];
  std::strftime(date, sizeof date, "%F %T", &local);
  std::snprintf(head, sizeof head, "%s.%03ld %3u ", date, event.when.tv_nsec / 1000000, event.subtype);
  return head + one_line(event.text) + "\n";
}

int dump_memory_statistics() {
  const auto table = host::control_request(static_cast<uint32_t>(host::HostOperation::memory_statistics), {});
  if (!table) {
    std::fprintf(stderr, "Error: %s\n", table.error().text.c_str());
    return -1;
  }
  std::fwrite(table->data(), 1, table->size(), stdout);
  return 0;
}

}  // namespace

extern "C" int sdwrap_hist_event(uint32_t, uint32_t length, const void *record) {
  uint32_t subtype = 0;
  if (record == nullptr || length < sizeof subtype) return -1;
  std::memcpy(&subtype, record, sizeof subtype);
  const char *text = static_cast<const char *>(record) + sizeof subtype;
  Debug &all = debug();
  const auto add = [&] {
    const std::lock_guard lock(all.mutex);
    all.history.add(subtype, text, strnlen(text, std::min(length - sizeof subtype, host::history_text_limit)));
    return 0;
  };
  return host::guarded(add, [] { return -1; });  // the history misses an event
}

extern "C" int sdwrap_hist_event_subtype_check(uint32_t, uint32_t subtype) {
  return debug().history_off[subtype] ? 1 : 0;
}

// buginf() is not used for traces: with --debug the library writes them to standard error itself.
extern "C" int sdwrap_chk_int(int, int, int, int) {
  return 0;
}

extern "C" int buginf(int, const char *modname, int, const char *format, ...) {
  va_list arguments;
  va_start(arguments, format);
  const std::string line = formatted(format, arguments);
  va_end(arguments);
  if (debug().journal) {
    syslog(LOG_DAEMON | LOG_DEBUG, "%s: %s", modname, line.c_str());
  } else {
    std::fprintf(stderr, "%s: %s\n", modname, line.c_str());
  }
  return static_cast<int>(line.size());
}

extern "C" int sdwrap_debug_dump(uint32_t, uint32_t, uint32_t, const uint32_t *, const char *text) {
  return text != nullptr && std::strcmp(text, "mtrack_dump_memstats") == 0 ? dump_memory_statistics() : -1;
}

extern "C" void sdwrap_dbg_clean(void *) {
  debug().history_off.reset();
}

extern "C" int sdwrap_sys_clean(void *) {
  Debug &all = debug();
  const std::lock_guard lock(all.mutex);
  all.history.clear();
  return 0;
}

namespace host {

std::vector<DebugEvent> history_events() {
  Debug &all = debug();
  const std::lock_guard lock(all.mutex);
  std::vector<DebugEvent> events;
  all.history.for_each([&](const Event &event) {
    events.push_back({event.when, event.subtype, one_line(event.text)});
  });
  return events;
}

std::string history_text() {
  Debug &all = debug();
  const std::lock_guard lock(all.mutex);
  std::string text;
  all.history.for_each([&](const Event &event) { text += event_line(event); });
  return text;
}

void history_enable(int level, bool on) {
  if (level < 0 || level >= debug_levels) return;
  debug().history_off.set(static_cast<size_t>(level), !on);
}

void buginf_to_journal(bool on) {
  debug().journal = on;
}

}  // namespace host
