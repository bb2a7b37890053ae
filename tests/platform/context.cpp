// SPDX-License-Identifier: Apache-2.0
#include <cstring>

#include "tests/platform/platform.h"

namespace platform_test {
namespace {
constexpr uint32_t uri_kind = 2;  // any kind that is neither a string nor an integer
}

Context::Context(const std::vector<std::string> &params) {
  std::strcpy(ctx_.user_name, "admin");
  std::strcpy(ctx_.peer_name, "console");
  ctx_.shell_handle = 42;
  for (const auto &param : params)
    string_param(param);
}

Context &Context::add(uint32_t id, uint32_t kind, const void *value, uint32_t sub_kind) {
  params_.push_back({id, kind, {0, 0}, value, sub_kind});
  pointers_.push_back(&params_.back());
  ctx_.param_count = static_cast<uint8_t>(pointers_.size());
  return *this;
}

Context &Context::string_param(const std::string &value, uint32_t id, uint32_t sub_kind) {
  strings_.push_back(value);
  return add(id, SCH_PARAM_STRING, strings_.back().c_str(), sub_kind);
}

Context &Context::integer_param(uint32_t value, uint32_t id) {
  integers_.push_back(value);
  return add(id, SCH_PARAM_INTEGER, &integers_.back(), 0);
}

Context &Context::uri_param(const void *uri) {
  return add(0, uri_kind, uri, 0);
}

Context &Context::raw_param(uint32_t id, uint32_t kind, const void *value) {
  return add(id, kind, value, 0);
}

const sch_cli_cmd_ctx *Context::get() {
  ctx_.params = pointers_.data();
  return &ctx_;
}

}  // namespace platform_test
