// SPDX-License-Identifier: Apache-2.0
// The service's time zone. The process's TZ is set to it, so that the library's texts and the jobs use it too.
#pragma once

#include <string>
#include <vector>

#include "host/result.h"
#include "service/calendar/zone.h"

namespace service {

// UTC until a zone is set.
const Zone &service_zone();

// `configured` is the setting; if it is empty, the zone is the TZ that the process was started with, or the machine's.
// A zone that does not exist changes nothing; the error names it and where it was set.
host::Result<void> set_service_zone(const std::string &configured = {});

// Reads the zone again after its files may have changed. True: its offsets or its name changed. If it cannot be read,
// the old one stays in use: the files may just be being replaced.
bool refresh_service_zone();

std::vector<std::string> files_of_service_zone();  // what to look at for changes

}  // namespace service
