// SPDX-License-Identifier: Apache-2.0
// What the commands and those who print them as text must agree on.
#pragma once

inline constexpr int log_size_unit = 1024;  // bytes
inline constexpr int smtp_default_port = 25;
