// SPDX-License-Identifier: Apache-2.0
// A job's text in its fragments.
#pragma once

#include <algorithm>
#include <string>
#include <string_view>

#include "schedcli.h"

namespace service {

// The text cut into fragments; false when memory ran out.
bool make_fragments(std::string_view text, GList **fragments);
void free_fragments(GList *fragments);

// Makes the fragments exactly what the header says: a damaged store may have given less. False when memory ran out.
bool make_text_whole(sch_job_entry &slot);

// The text of a job that is whole, fragment by fragment: sch_concat_fragments traces each, which costs a show request
// more than the rest of it.
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
