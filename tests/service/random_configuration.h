// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <random>
#include <string>

namespace service_test {

// A configuration as text, in the layout in which it is shown.
std::string random_configuration(std::mt19937 &random);

}  // namespace service_test
