// SPDX-License-Identifier: Apache-2.0
// What the handlers return to the shell.
#pragma once

inline constexpr int exit_success = 0;
inline constexpr int exit_refused = 1;  // a refused host address, a failed feature change
inline constexpr int exit_memory = 2;
inline constexpr int exit_failure = 255;
inline constexpr int exit_bad_form = -1;  // an invalid time, or a form that the command does not have
