// SPDX-License-Identifier: Apache-2.0
// The key of a configuration record that a walk has come to: a copy, since reading the value may end what reading the
// key returned.
#pragma once

#include "pss/fields.h"
#include "schedcli.h"

class WalkedKey {
 public:
  explicit WalkedKey(const pss_buf &raw) {
    copy_at_most(&stored_, sizeof stored_, raw);
    key_ = stored_;
    sch_ntoh_config_key(&key_);
  }

  const sch_config_key &in_host_order() const { return key_; }

  void enter(sch_config_db *config, const pss_buf *value) {
    const pss_buf stored = {&stored_, sizeof stored_};
    sch_add_config_entry(config, &stored, value);
  }

 private:
  sch_config_key stored_ = {};
  sch_config_key key_;
};
