// SPDX-License-Identifier: Apache-2.0
#include "service/document/answer.h"

#include <memory>
#include <string_view>
#include <utility>

#include "service/limits.h"
#include "service/request/answer.h"

namespace service {
namespace {

constexpr char module[] = "schedcli:";
constexpr char entry_indent[] = "\n      ";

std::string member_name(const char *name) {
  return Json(name).dump() + ": ";
}

std::string indented(const Json &entry) {
  const std::string written = entry.dump(2, ' ', false, Json::error_handler_t::replace);
  std::string text;
  text.reserve(written.size());
  for (std::string_view rest = written;;) {
    const size_t end = rest.find('\n');
    text += rest.substr(0, end);
    if (end == rest.npos) return text;
    text += entry_indent;
    rest.remove_prefix(end + 1);
  }
}

// The text that control::json_document() gives for the whole, in pieces.
class ListText {
 public:
  ListText(const char *name, const Json &head, const char *list, NextEntry next) : next_(std::move(next)) {
    text_ = "{\n  " + member_name((module + std::string(name)).c_str()) + "{";
    for (const auto &[key, value] : head.items())
      text_ += "\n    " + member_name(key.c_str()) + value.dump(2) + ",";
    text_ += "\n    " + member_name(list) + "[";
  }

  std::optional<host::Bytes> take_piece() {
    while (text_.size() - sent_ < log_piece_limit && !ended_)
      read_on();
    if (sent_ == text_.size()) return std::nullopt;
    host::Bytes piece;
    append_text(&piece, std::string_view(text_).substr(sent_, log_piece_limit));
    sent_ += piece.size();
    return piece;
  }

 private:
  void read_on() {
    text_.erase(0, sent_);
    sent_ = 0;
    const std::optional<Json> entry = next_();
    if (entry)
      text_ += (entries_++ == 0 ? "" : ",") + std::string(entry_indent) + indented(*entry);
    else
      text_ += entries_ == 0 ? "]\n  }\n}\n" : "\n    ]\n  }\n}\n";
    ended_ = !entry;
  }

  NextEntry next_;
  std::string text_;
  size_t sent_ = 0, entries_ = 0;
  bool ended_ = false;
};

}  // namespace

host::Answer document(const char *name, Json content) {
  Json whole;
  whole[module + std::string(name)] = std::move(content);
  host::Bytes reply;
  append_text(&reply, control::json_document(whole));
  return with_reply(std::move(reply));
}

host::Answer list_document(const char *name, const Json &head, const char *list, NextEntry next) {
  const auto text = std::make_shared<ListText>(name, head, list, std::move(next));
  host::Answer answer;
  answer.next = [text] { return text->take_piece(); };
  return answer;
}

}  // namespace service
