// SPDX-License-Identifier: Apache-2.0
#include <memory>

#include "acfg/line.h"
#include "platform/memory.h"

namespace {

using acfg::Indent;

// Room for the text's end and one spare byte.
constexpr uint32_t spare_bytes = 2;

// sch_concat_fragments() takes the length as a signed 32-bit number.
constexpr uint32_t longest_text = INT32_MAX - spare_bytes;

struct TrackedDeleter {
  void operator()(void *memory) const { mtrack_free(memory); }
};

// A job whose text cannot be joined keeps its name and end lines.
void add_text(acfg_hdl *handle, const sch_job_entry *slot) {
  const uint32_t length = slot->hdr != nullptr ? slot->hdr->length : 0;
  if (length > longest_text) return;
  const std::unique_ptr<char, TrackedDeleter> text(
      static_cast<char *>(sch_malloc_check(length + spare_bytes, SCH_MEMORY_JOINED_TEXT, 0, "create script file")));
  if (!text) return;
  sch_concat_fragments(slot->fragments, text.get(), static_cast<int32_t>(length));
  acfg_elem_str_add_indent(handle, acfg::element_scheduler, text.get(), static_cast<uint32_t>(Indent::none));
}

}  // namespace

int sch_add_job_cfg(sch_config_db *, acfg_hdl *handle, sch_job_entry *slot) {
  acfg::add_line(handle, acfg::element_scheduler, Indent::none, "scheduler job name %.32s\n", slot->key->name);
  add_text(handle, slot);
  acfg::add_line(handle, acfg::element_scheduler, Indent::none, "end-job\n\n");
  return 0;
}

int sch_acfg_job_cfg_gen(sch_config_db *config, acfg_hdl *handle) {
  for (int id = 0; id < SCH_MAX_JOBS; ++id) {
    sch_job_entry *slot = &config->jobs[id];
    if (slot->key != nullptr) sch_add_job_cfg(config, handle, slot);
  }
  return 0;
}
