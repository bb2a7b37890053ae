// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <string>

#include "host/files/file_descriptor.h"
#include "host/loop/watch.h"

namespace service {

// Follows the files that the service's zone is read from: linked elsewhere, replaced or written over.
class ZoneWatch {
 public:
  // `changed` is called when the service's zone has become another.
  void start(std::function<void()> changed);
  void configure(const std::string &zone);  // as set_service_zone: one that cannot be read changes nothing

 private:
  void watch_directories();
  void look();
  void look_every_minute();

  host::FileDescriptor notices_;
  host::Watch watch_;
  std::function<void()> changed_;
};

}  // namespace service
