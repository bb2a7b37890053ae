// SPDX-License-Identifier: Apache-2.0
// The file of settings: whole and within its limits, or refused with lines that a terminal can show. Input: its text.
#include "fuzz/input.h"
#include "host/visible.h"
#include "service/config/settings_file.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  const service::SettingsRead read = service::parse_settings(fuzz::Input(data, size).rest(), "f");
  for (const std::string &problem : read.problems) {
    fuzz::require(problem.starts_with("f"), "a problem names the file");
    fuzz::require(problem == host::visible(problem), "a problem can be shown on a terminal");
  }
  if (!read.problems.empty()) return 0;
  fuzz::require(!read.settings.classes.empty(), "there is a class for everybody");
  service::limits_of(service::class_for(read.settings, {"a", "staff"}));
  service::configured_limits(read.settings);
  return 0;
}
