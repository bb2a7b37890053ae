// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <string>

#include "host/files/file_descriptor.h"
#include "host/loop/watch.h"

namespace service {

// Reads the service's zone again when its files are relinked, replaced or overwritten.
class ZoneWatch {
 public:
  // `changed` is called after the zone has changed.
  void start(std::function<void()> changed);
  void configure(const std::string &zone);  // as set_service_zone; one that cannot be read is logged, changing nothing

 private:
  void watch_directories();
  void look();
  void look_every_minute();

  host::FileDescriptor notices_;
  host::Watch watch_;
  std::function<void()> changed_;
};

}  // namespace service
