// SPDX-License-Identifier: Apache-2.0
// The real store, but for the calls that a test lets fail.
#pragma once

namespace service_test {

void fail_store_call(int nth);  // the nth from now on, of pss_store and store_commit, fails once; 0: none
bool store_call_failed();       // since then

}  // namespace service_test
