// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cstring>

#include "db/fragment.h"
#include "diag/short_blocks.h"
#include "diag/trace.h"
#include "schedcli.h"

namespace {

using finish_piece = void (*)(char *piece, int32_t length);

void leave_as_is(char *, int32_t) {}

int32_t fragments_of(int32_t length) {
  return length / SCH_FRAGMENT_SIZE + (length % SCH_FRAGMENT_SIZE != 0 ? 1 : 0);
}

int concat(GList *fragments, char *destination, int32_t length, finish_piece finish) {
  int32_t count = fragments_of(length);
  SCH_TRACE_SERVICE(trace_status, "length %d fragments %d", length, count);
  for (GList *node = g_list_first(fragments); node != nullptr && length > 0; node = node->next) {
    const int32_t piece = std::min(length, SCH_FRAGMENT_SIZE);
    SCH_TRACE_SERVICE(trace_config, "fragment count %d %d", count, piece);
    copy_fragment(destination, node->data, static_cast<uint32_t>(piece));
    finish(destination, piece);
    destination += piece;
    length -= piece;
    --count;
  }
  return 0;
}

}  // namespace

void copy_fragment(char *destination, const void *fragment, uint32_t size) {
  const uint32_t readable = readable_of(fragment, size);
  memcpy(destination, fragment, readable);
  memset(destination + readable, 0, size - readable);
}

int sch_concat_fragments(GList *fragments, char *destination, int32_t length) {
  return concat(fragments, destination, length, leave_as_is);
}

int sch_show_run_concat_fragments(GList *fragments, char *destination, int32_t length) {
  return concat(fragments, destination, length, sch_replace_newline_with_semicolon);
}

// The last byte is meant to stay: a job's text ends in a line end.
void sch_replace_newline_with_semicolon(char *buffer, int32_t length) {
  for (int32_t i = 0; i + 1 < length; ++i)
    if (buffer[i] == '\n') buffer[i] = ';';
}
