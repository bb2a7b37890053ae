// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>

namespace service {

// A job's output, made safe for a terminal (host/visible.h). Lines that look like those with which the log begins or
// ends a record are prefixed by "| ", so that no output can pass for another job's record.
std::string shown_output(std::string_view output);

}  // namespace service
