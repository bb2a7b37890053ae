// SPDX-License-Identifier: Apache-2.0
// What the shown and the generated configuration must agree on with the commands that they print.
#pragma once

namespace acfg {

inline constexpr int log_size_unit = 1024;  // bytes
inline constexpr int smtp_default_port = 25;

}  // namespace acfg
