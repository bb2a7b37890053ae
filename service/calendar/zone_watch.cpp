// SPDX-License-Identifier: Apache-2.0
#include "service/calendar/zone_watch.h"

#include <sys/inotify.h>
#include <unistd.h>

#include <filesystem>

#include "schedcli.h"
#include "service/calendar/service_zone.h"

namespace service {
namespace {

constexpr unsigned minute_ms = 60'000;

void drain(int notices) {
  alignas(inotify_event) char events[4096];
  while (read(notices, events, sizeof events) > 0) {
  }
}

}  // namespace

void ZoneWatch::start(std::function<void()> changed) {
  changed_ = std::move(changed);
  notices_ = host::FileDescriptor(inotify_init1(IN_CLOEXEC | IN_NONBLOCK));
  if (!notices_) {  // the user's inotify instances are used up
    look_every_minute();
    return;
  }
  watch_directories();
  watch_ = host::Watch::readable(notices_.get(), [this] {
    drain(notices_.get());
    look();
    watch_directories();  // a link may lead elsewhere now
  });
}

void ZoneWatch::configure(const std::string &zone) {
  const Zone before = service_zone();  // NOLINT(performance-unnecessary-copy-initialization): it is about to change
  if (const host::Result<void> set = set_service_zone(zone); !set) {
    sch_syslog_raise(&syslog_msg_SCH_WARN, set.error().text.c_str());
    return;
  }
  watch_directories();
  if (!before.same_offsets(service_zone()) || before.identifier() != service_zone().identifier()) changed_();
}

// Watches the directories: a watch of a file would stay with the old file when that is replaced.
void ZoneWatch::watch_directories() {
  constexpr uint32_t events = IN_CREATE | IN_MOVED_TO | IN_MOVED_FROM | IN_DELETE | IN_CLOSE_WRITE | IN_ONLYDIR;
  for (const std::string &file : files_of_service_zone())
    inotify_add_watch(notices_.get(), std::filesystem::path(file).parent_path().c_str(), events);
}

void ZoneWatch::look() {
  if (refresh_service_zone()) changed_();
}

void ZoneWatch::look_every_minute() {
  watch_ = host::Watch::after_ms(minute_ms, [this] {
    look();
    look_every_minute();
  });
}

}  // namespace service
