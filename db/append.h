// SPDX-License-Identifier: Apache-2.0
// Appending to the database's lists.
#pragma once

#include <glib.h>

extern "C" {
// Appends and returns the list's new length.
guint sch_append(GList **list, void *data);
}

// Appends are constant time while one of these lives: each list's tail is remembered. Nothing else may change a list
// meanwhile, and nothing may be removed from one. Without a session each append walks, as callers may change the lists
// between two calls.
class append_session {
 public:
  append_session();
  ~append_session();
  append_session(const append_session &) = delete;
  append_session &operator=(const append_session &) = delete;
};
