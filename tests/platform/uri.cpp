// SPDX-License-Identifier: Apache-2.0
#include "platform/uri.h"

#include "tests/platform/state.h"

using namespace platform_test;

int uri_map_targetfs_path_get(const void *uri, char *path, uint32_t size) {
  note("uri_map_targetfs_path_get %s %u", uri == nullptr ? "null" : "uri", size);
  const uint32_t error = scripted_error("uri_map_targetfs_path_get");
  if (error == 0) std::snprintf(path, size, "%s", fake.uri_path.c_str());
  return static_cast<int>(error);
}

int snprintf_uri_len(char *text, uint32_t size, const void *uri) {
  note("snprintf_uri_len %u %s", size, uri == nullptr ? "null" : "uri");
  return std::snprintf(text, size, "%s", fake.uri_text.c_str());
}
