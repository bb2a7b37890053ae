// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>

#include "service/configuration/history.h"
#include "service/request/context.h"

namespace service {

struct Applied {
  bool keeps_order = true;  // false: a run is under way, and what is new comes last
  std::string warning;      // what could not be made durable with the rest; empty: all was
  HistoryDraft history;
};

// Makes the target the configuration in use, as one durable change: after an error, or a crash, it is all as before.
// `before_commit` may still refuse.
host::Result<Applied> apply_configuration(Context &context, const Configuration &target, const Origin &origin,
                                          const std::function<host::Result<void>(const HistoryDraft &)> &before_commit);

// At the start, when the stores are open: what a crash in the middle left behind.
void settle_configuration();

}  // namespace service
