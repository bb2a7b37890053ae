// SPDX-License-Identifier: Apache-2.0
#include "acfg/line.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>

char cfg_line[2048];

namespace acfg {

void add_line(acfg_hdl *handle, uint32_t element, Indent indent, const char *format, ...) {
  std::memset(cfg_line, 0, sizeof cfg_line);
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(cfg_line, sizeof cfg_line, format, arguments);
  va_end(arguments);
  add_cfg_line(handle, element, indent);
}

void add_cfg_line(acfg_hdl *handle, uint32_t element, Indent indent) {
  acfg_elem_str_add_indent(handle, element, cfg_line, static_cast<uint32_t>(indent));
}

}  // namespace acfg
