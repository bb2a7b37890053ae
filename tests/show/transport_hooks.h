// SPDX-License-Identifier: Apache-2.0
// Transports that the scriptable platform is not, by the linker's --wrap of this test.
#pragma once

namespace show_test {

struct TransportHooks {
  bool keeps_length_word = false;  // cmi_req_resp leaves the length word as it was
  bool parses_to_null = false;     // cmi_parse_response succeeds without a reply
};

extern TransportHooks hooks;

}  // namespace show_test
