// SPDX-License-Identifier: Apache-2.0
// Whether a zone's file can be given to GLib, which trusts the counts in it: a truncated file, which somebody may just
// be writing, would abort the process.
#pragma once

#include <string>

namespace service {

bool is_whole_zone_file(const std::string &contents);

}  // namespace service
