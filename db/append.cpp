// SPDX-License-Identifier: Apache-2.0
#include "db/append.h"

#include <cstdint>

#include "schedcli.h"

namespace {

struct list_end {
  GList *tail;
  guint length;
};

struct remembered {
  GList **list;
  GList *head;
  list_end end;
};

// More places than job slots, so that neighbouring slots' lists rarely share one. Sharing only costs a walk to the end.
constexpr size_t end_places = 4 * SCH_MAX_JOBS;
remembered ends[end_places];
int open_sessions = 0;

remembered &place_of(GList **list) {
  return ends[reinterpret_cast<uintptr_t>(list) / sizeof(sch_job_entry) % end_places];
}

void forget_all() {
  for (remembered &place : ends)
    place = {};
}

list_end walk(GList *list) {
  list_end end = {nullptr, 0};
  for (GList *node = list; node != nullptr; node = node->next)
    end = {node, end.length + 1};
  return end;
}

list_end end_of(GList **list) {
  const remembered &place = place_of(list);
  return place.list == list && place.head == *list ? place.end : walk(*list);
}

}  // namespace

append_session::append_session() {
  ++open_sessions;
}

append_session::~append_session() {
  if (--open_sessions == 0) forget_all();
}

guint sch_append(GList **list, void *data) {
  const list_end end = end_of(list);
  GList *node = g_list_append(end.tail, data);
  if (end.tail == nullptr)
    *list = node;
  else
    node = end.tail->next;
  if (open_sessions > 0) place_of(list) = {list, *list, {node, end.length + 1}};
  return end.length + 1;
}
