// SPDX-License-Identifier: Apache-2.0
// Lines of configuration text, built in cfg_line.
#pragma once

#include "schedcli.h"

namespace acfg {

inline constexpr uint32_t owner = 224;

// Elements of the configuration manager.
inline constexpr uint32_t element_scheduler = 1;
inline constexpr uint32_t element_logging = 2;
inline constexpr uint32_t element_feature = 3;

enum class Indent : uint32_t { none = 0, under_block = 1 };

// Formats the line into the cleared cfg_line and appends it to the element.
[[gnu::format(printf, 4, 5)]] void add_line(acfg_hdl *handle, uint32_t element, Indent indent, const char *format, ...);

// Appends the line that the caller has built in cfg_line.
void add_cfg_line(acfg_hdl *handle, uint32_t element, Indent indent);

}  // namespace acfg
