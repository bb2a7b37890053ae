// SPDX-License-Identifier: Apache-2.0
// Restart of the service versus boot. platform/sysmgr.h answers from what is prepared here.
#pragma once

#include <string>

namespace host {

// Before sch_pss_init: makes the directories (0700; the run directory of a system-wide service 0755, as its socket
// is for every user), takes the lock of the one service on the state directory, and
// finds out whether this is the first start since the boot. False: `error` says what, where and what to do.
bool sysmgr_prepare(std::string *error);

// After start-up is complete and stored: a later start before the next boot is a restart. A crash before it starts over
// as a boot.
bool sysmgr_mark_started(std::string *error);

// A boot starts from the startup configuration if there is one; without one the running configuration goes on, so that
// nothing acknowledged is lost.
bool sysmgr_first_start_since_boot();

}  // namespace host
