// SPDX-License-Identifier: Apache-2.0
// Whether a zone's file can be given to GLib, which trusts the counts in it: one that is cut in the middle, as it may
// be while somebody writes it, would end the process.
#pragma once

#include <string>

namespace service {

bool is_whole_zone_file(const std::string &contents);

}  // namespace service
