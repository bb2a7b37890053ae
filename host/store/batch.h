// SPDX-License-Identifier: Apache-2.0
// The one way in which an open store is changed.
#pragma once

#include <lmdb.h>

#include <cstdint>

#include "host/store/environment.h"

namespace host {

struct RecordChange {
  MDB_val key;
  const MDB_val *value;  // null: the key goes
};

// A batch that needs a larger map than the store has begins anew in one, up to the bound.
Result<void> begin_batch(Store &store);  // none may be open; walks go on from their last key afterwards
// After PSS_ERR_NO_KEY (there is no such record) the batch goes on. After any other failure it cannot be committed, and
// each further change gives the same failure.
Result<void> change_batch(Store &store, const RecordChange &change);
Result<void> commit_batch(Store &store);  // durably, unless it has failed or changed nothing
void abort_batch(Store &store);

}  // namespace host
