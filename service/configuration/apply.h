// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>

#include "service/configuration/history.h"
#include "service/request/context.h"

namespace service {

struct Applied {
  bool keeps_order = true;  // false: runs under way forbid it, so new jobs and schedules come last
  std::string warning;      // a part that could not be made durable; empty: none
  HistoryDraft history;
};

// Makes the target the configuration in use, as one durable change: after an error or a crash nothing has changed.
// `before_commit` may still refuse the change.
host::Result<Applied> apply_configuration(Context &context, const Configuration &target, const Origin &origin,
                                          const std::function<host::Result<void>(const HistoryDraft &)> &before_commit);

// At the service's start, when the stores are open: completes or discards what a crash during a change has left.
void settle_configuration();

}  // namespace service
