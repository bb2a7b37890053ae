// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>

#include "host/transport/transport.h"
#include "service/limits.h"
#include "service/request/answer.h"

namespace service {

// Text of a streamed answer that waits to be sent, piece by piece.
class WaitingText {
 public:
  size_t size() const { return text_.size() - sent_; }

  void add(std::string_view text) {
    text_.erase(0, sent_);
    sent_ = 0;
    text_ += text;
  }

  host::Bytes take_piece() {
    host::Bytes piece;
    append_text(&piece, std::string_view(text_).substr(sent_, log_piece_limit));
    sent_ += piece.size();
    return piece;
  }

 private:
  std::string text_;
  size_t sent_ = 0;
};

}  // namespace service
