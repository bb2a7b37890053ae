// SPDX-License-Identifier: Apache-2.0
// A job's text in its fragments.
#pragma once

#include <algorithm>
#include <string>
#include <string_view>

#include "schedcli.h"

namespace service {

// Cuts the text into fragments. False when memory is exhausted.
bool make_fragments(std::string_view text, GList **fragments);
void free_fragments(GList *fragments);

// Makes the fragments as long as the header says, filling what a damaged store lacks. False when memory is exhausted.
bool make_text_whole(sch_job_entry &slot);

// Visits a job's text fragment by fragment. Quicker than sch_concat_fragments(), which traces each fragment; the text
// must be whole (make_text_whole).
template <typename Visit>
void for_each_piece(const sch_job_entry &slot, Visit visit) {
  size_t left = slot.hdr != nullptr ? slot.hdr->length : 0;
  for (const GList *node = slot.fragments; node != nullptr && left != 0; node = node->next) {
    const size_t size = std::min<size_t>(left, SCH_FRAGMENT_SIZE);
    visit(std::string_view(static_cast<const char *>(node->data), size));
    left -= size;
  }
}

std::string job_text(const sch_job_entry &slot);

}  // namespace service
