// SPDX-License-Identifier: Apache-2.0
// The one zone that the service lives in. The process's TZ says the same: the library's texts and the jobs follow it.
#pragma once

#include <string>
#include <vector>

#include "host/result.h"
#include "service/calendar/zone.h"

namespace service {

// UTC until a zone is set.
const Zone &service_zone();

// From the configuration; empty: the TZ that the process was started with, else the machine's. A zone that does not
// exist is an error that names it and where it was asked for, and changes nothing.
host::Result<void> set_service_zone(const std::string &configured = {});

// Reads the zone again after its files may have changed. True: it has other offsets or another name than before. A zone
// that cannot be read stays as it was: its files may be in the middle of being replaced.
bool refresh_service_zone();

std::vector<std::string> files_of_service_zone();  // what to look at for changes

}  // namespace service
