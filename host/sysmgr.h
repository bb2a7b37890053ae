// SPDX-License-Identifier: Apache-2.0
// Restart of the service versus boot. platform/sysmgr.h answers from what is prepared here.
#pragma once

#include "host/result.h"

namespace host {

// The configuration that a boot begins with. `startup` applies only once a startup configuration has been saved: until
// then the running one is kept, as it is all there is.
enum class BootFrom { running, startup };

// Before sch_pss_init: locks the directories (take_state_directory) and finds out whether this is the first start since
// the boot.
Result<void> sysmgr_prepare(BootFrom boot_from);

// Removes the running stores before a boot from the startup configuration, which would otherwise be merged into them. A
// crash afterwards loses nothing: until sysmgr_mark_started the next start is a boot again. A file that is not a store
// is not touched.
Result<void> sysmgr_drop_running_configuration();

// To be called when start-up is complete and stored: from then on a start is a restart, until the next boot.
Result<void> sysmgr_mark_started();

bool sysmgr_first_start_since_boot();

}  // namespace host
