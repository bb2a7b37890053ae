// SPDX-License-Identifier: Apache-2.0
// Restart of the service versus boot. platform/sysmgr.h answers from what is prepared here.
#pragma once

#include "host/result.h"

namespace host {

// What a boot begins with. From startup: only once a startup configuration has been saved, so that nothing acknowledged
// is lost before.
enum class BootFrom { running, startup };

// Before sch_pss_init: takes the directories (take_state_directory) and finds out whether this is the first start since
// the boot.
Result<void> sysmgr_prepare(BootFrom boot_from);

// Where the start is one from startup: a left-over running configuration would bring records back that the startup
// configuration does not have. Nothing is lost by a crash after this: until sysmgr_mark_started the next start is a
// boot again. What is no store is somebody's and stays.
Result<void> sysmgr_drop_running_configuration();

// After start-up is complete and stored: a later start before the next boot is a restart. A crash before it starts over
// as a boot.
Result<void> sysmgr_mark_started();

bool sysmgr_first_start_since_boot();

}  // namespace host
