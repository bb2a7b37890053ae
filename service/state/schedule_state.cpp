// SPDX-License-Identifier: Apache-2.0
#include "service/state/schedule_state.h"

namespace service {

uintptr_t next_serial() {
  static uintptr_t last = 0;
  return ++last;
}

std::string name_of(const sch_config_key &key) {
  return {key.name, strnlen(key.name, sizeof key.name)};
}

}  // namespace service
