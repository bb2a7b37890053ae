// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>

namespace service {

// What a job printed, for a terminal: everything that the terminal would obey is made visible (host/visible.h), and a
// line that looks like one of those with which the log shows a record begins with "| ", so that no output can pass for
// a record of another job.
std::string shown_output(std::string_view output);

}  // namespace service
