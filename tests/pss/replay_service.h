// SPDX-License-Identifier: Apache-2.0
// The least of a service: it applies each configuration request to one configuration and the settings beside it.
#pragma once

#include "tests/pss/records.h"

namespace pss_test {

class ReplayService {
 public:
  explicit ReplayService(sch_config_db &config) : config_(config) {}
  platform_test::Reply apply(const platform_test::Request &request);

 private:
  sch_config_db &config_;
};

}  // namespace pss_test
