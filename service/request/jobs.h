// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <string>
#include <string_view>

#include "service/request/context.h"

namespace service {

uint32_t create_job(const Call &call, const JobRequest &request);
uint32_t define_job(const Call &call, const JobRequest &request);  // replaces the text
uint32_t delete_job(const Call &call, const JobRequest &request);  // also from every schedule, with its history

// The text cut into fragments; false when memory ran out.
bool make_fragments(std::string_view text, GList **fragments);

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
