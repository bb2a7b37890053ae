// SPDX-License-Identifier: Apache-2.0
#include "service/config/settings.h"

#include <algorithm>

namespace service {

const ClassSettings &class_for(const Settings &settings, const std::vector<std::string> &groups) {
  const auto found = std::find_if(settings.classes.begin() + 1, settings.classes.end(), [&](const ClassSettings &each) {
    return std::find_first_of(each.groups.begin(), each.groups.end(), groups.begin(), groups.end()) !=
           each.groups.end();
  });
  return found != settings.classes.end() ? *found : settings.classes.front();
}

}  // namespace service
