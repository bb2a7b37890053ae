// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>

#include "host/result.h"
#include "service/configuration/configuration.h"

namespace service {

Configuration configuration_in_use();
host::Result<Configuration> startup_configuration();  // err_no_startup where none has been saved

// The part that this user may see and change: their own jobs and schedules, and no settings. Without a tag all of it.
Configuration part_of(const Configuration &whole, std::optional<uint32_t> owner_tag);

std::string fragments_text(const sch_job_entry &slot);  // of a damaged store perhaps less than the header announces

}  // namespace service
