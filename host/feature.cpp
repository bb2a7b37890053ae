// SPDX-License-Identifier: Apache-2.0
#include "host/feature.h"

#include <string_view>
#include <utility>

#include "host/status.h"
#include "host/transport/transport.h"
#include "platform/feature.h"

namespace host {
namespace {

constexpr std::string_view only_feature = "scheduler";

ParseTreeHook &parse_tree_hook() {
  static ParseTreeHook hook;
  return hook;
}

}  // namespace

void set_parse_tree_hook(ParseTreeHook hook) {
  parse_tree_hook() = std::move(hook);
}

}  // namespace host

extern "C" {

// The user and peer names are ignored: the service learns from the kernel who the caller is.
uint32_t fm_cmi_set_feature_wait(uint32_t, const char *feature, const char *, const char *, uint32_t operation) {
  if (feature == nullptr || feature != host::only_feature) return host::err_feature_unknown;
  const auto known = static_cast<host::HostOperation>(operation);
  if (known != host::HostOperation::enable_feature && known != host::HostOperation::disable_feature)
    return host::err_unknown_opcode;
  return host::control_request(operation, {}).code();
}

int vsh_deregister_parse_tree(uint32_t shell_handle, const char *tree) {
  const auto &hook = host::parse_tree_hook();
  return hook && tree != nullptr ? hook(shell_handle, tree) : -1;
}

}  // extern "C"
