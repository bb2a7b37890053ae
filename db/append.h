// SPDX-License-Identifier: Apache-2.0
// Appending to the database's lists.
#pragma once

#include <glib.h>

extern "C" {
// Appends and returns the list's new length.
guint sch_append(GList **list, void *data);
}

// Appends are constant time while one of these lives: each list's tail is remembered. Nothing else may change a list
// meanwhile, and nothing may be removed from one. Outside, the heads are anybody's to change, hence each append walks.
class append_session {
 public:
  append_session();
  ~append_session();
  append_session(const append_session &) = delete;
  append_session &operator=(const append_session &) = delete;
};
