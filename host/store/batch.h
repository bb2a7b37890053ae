// SPDX-License-Identifier: Apache-2.0
// Changing an open store. Every change goes through a batch.
#pragma once

#include "host/store/environment.h"

namespace host {

Result<void> begin_batch(Store &store);  // none may be open; walks go on from their last key afterwards
// After PSS_ERR_NO_KEY (there is no such record) the batch goes on. After any other failure it cannot be committed, and
// each further change returns the same failure. Whether the store has room is known for certain only at the commit.
Result<void> change_batch(Store &store, const RecordChange &change);
// Durable on success; writes nothing if nothing was changed. A commit that needs a larger map is repeated in one, up to
// the store's limit.
Result<void> commit_batch(Store &store);
void abort_batch(Store &store);

}  // namespace host
