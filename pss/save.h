// SPDX-License-Identifier: Apache-2.0
// How one record is saved: the texts of its traces, and whether a failure's error code is logged.
#pragma once

#include "schedcli.h"

// Both texts are formats for the error, the key's name and the fragment number, of which they may leave out the last.
struct SaveRule {
  const char *failure;
  const char *success;  // null: a success is not traced
  bool logs_error;
};

// `key` is in host order. 0, or -1 when the store refused the record.
int save_record(pss_handle store, const SaveRule &rule, const sch_config_key &key, const void *value, uint32_t length);

// `key` is in host order; the store's answer is ignored.
void delete_record(pss_handle store, sch_config_key key);
