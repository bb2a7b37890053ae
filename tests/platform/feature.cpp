// SPDX-License-Identifier: Apache-2.0
#include "platform/feature.h"

#include "tests/platform/state.h"

using namespace platform_test;

uint32_t fm_cmi_set_feature_wait(uint32_t shell_handle, const char *feature, const char *user_name,
                                 const char *peer_name, uint32_t operation) {
  note("fm_cmi_set_feature_wait %u %s %s %s %u", shell_handle, feature, user_name, peer_name, operation);
  return fake.feature_result;
}

int vsh_deregister_parse_tree(uint32_t shell_handle, const char *tree) {
  note("vsh_deregister_parse_tree %u %s", shell_handle, tree);
  return static_cast<int>(scripted_error("vsh_deregister_parse_tree"));
}
