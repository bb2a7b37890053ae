// SPDX-License-Identifier: Apache-2.0
// The real store, but for the calls that a test lets fail.
#pragma once

namespace service_test {

void fail_store_call(int nth);  // the nth from now on, of pss_store and store_commit, fails once; 0: none
bool store_call_failed();       // since then

// Kills the process at one of these calls: 1 before the first, 2 after it, 3 before the second, and so on. 0: never.
void die_at_store_call(int point);

// How many of these calls were made.
int store_writes();
int store_commits();

int store_syncs();  // of their files, of which each commit has one, also that of a single call outside a batch

}  // namespace service_test
