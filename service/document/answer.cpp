// SPDX-License-Identifier: Apache-2.0
#include "service/document/answer.h"

#include <memory>
#include <string_view>
#include <utility>

#include "service/limits.h"
#include "service/request/answer.h"
#include "service/request/waiting_text.h"

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
    text_.add("{\n  " + member_name((module + std::string(name)).c_str()) + "{");
    for (const auto &[key, value] : head.items())
      text_.add("\n    " + member_name(key.c_str()) + value.dump(2) + ",");
    text_.add("\n    " + member_name(list) + "[");
  }

  std::optional<host::Bytes> take_piece() {
    while (text_.size() < log_piece_limit && !ended_)
      read_on();
    return text_.size() == 0 ? std::nullopt : std::optional(text_.take_piece());
  }

 private:
  void read_on() {
    const std::optional<Json> entry = next_();
    if (entry)
      text_.add((entries_++ == 0 ? "" : ",") + std::string(entry_indent) + indented(*entry));
    else
      text_.add(entries_ == 0 ? "]\n  }\n}\n" : "\n    ]\n  }\n}\n");
    ended_ = !entry;
  }

  NextEntry next_;
  WaitingText text_;
  size_t entries_ = 0;
  bool ended_ = false;
};

}  // namespace

host::Answer document(const char *name, Json content) {
  Json whole;
  whole[module + std::string(name)] = std::move(content);
  return with_text(control::json_document(whole));
}

host::Answer list_document(const char *name, const Json &head, const char *list, NextEntry next) {
  const auto text = std::make_shared<ListText>(name, head, list, std::move(next));
  host::Answer answer;
  answer.next = [text] { return text->take_piece(); };
  return answer;
}

}  // namespace service
