// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "cli/free_ptr.h"
#include "diag/trace.h"
#include "show/log_stream.h"

namespace {

// One entry's output, joined in the order of arrival. Its size is the total that the first message announces; what
// a piece carries beyond it is dropped.
class Output {
 public:
  explicit Output(int32_t total)
      : total_(total), bytes_(total < 0 ? nullptr : static_cast<char *>(std::malloc(static_cast<uint32_t>(total)))) {}

  explicit operator bool() const { return bytes_ != nullptr; }
  const char *bytes() const { return bytes_.get(); }
  bool is_complete() const { return received_ >= capacity(total_); }

  void append(const sch_log_entry *message) {
    const uint64_t at = std::min(received_, capacity(total_));
    const uint64_t fitting = std::min<uint64_t>(message->piece_length, capacity(total_) - at);
    std::memcpy(bytes_.get() + at, show::piece_of(message), static_cast<size_t>(fitting));
    received_ += message->piece_length;
    ++part_;
    SCH_TRACE_CLI("entry %d recvd %d total %d", part_, static_cast<int>(received_), total_);
  }

 private:
  static uint64_t capacity(int32_t total) { return static_cast<uint64_t>(total); }

  const int32_t total_;
  FreePtr<char> bytes_;
  uint64_t received_ = 0;
  int part_ = 0;
};

}  // namespace

int collate_and_display_log(uint32_t mts_handle, const sch_log_entry *first, const mts_selector *selector) {
  Output output(first->total_length);
  if (!output) {
    std::puts("Out of memory");
    return -1;
  }
  output.append(first);
  while (!output.is_complete()) {
    show::Reply reply(show::log_length_preset);
    if (!show::receive_log_message(mts_handle, selector, &reply)) return -1;
    const sch_log_entry *message = show::complete_log_message(reply);
    if (message == nullptr) return -1;
    output.append(message);
  }
  display_log_entry(first, output.bytes());
  return 0;
}
