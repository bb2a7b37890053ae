// SPDX-License-Identifier: Apache-2.0
#include "tests/platform/journal.h"

#include <algorithm>
#include <cctype>

#include "tests/platform/state.h"

namespace platform_test {
namespace {

constexpr size_t fewest_zeros = 5, fewest_letters = 2;  // of a run that is not written in hexadecimal

bool is_letter(char byte) {
  return std::isalnum(static_cast<unsigned char>(byte)) != 0 || std::string("_-.:@ /").find(byte) != std::string::npos;
}

std::string escaped(const std::string &text) {
  std::string line;
  for (const char byte : text)
    line += byte == '\n' ? std::string("\\n") : std::string(1, byte);
  return line;
}

// Who asks, the transport's constants, and the bytes.
std::string request_text(const Request &request) {
  char words[64];
  std::snprintf(words, sizeof words, " %u %u %u 0x%x ", request.constant_136, request.shell_handle, request.zero,
                request.destination);
  return request.user_name + " " + request.peer_name + words + (request.reply_was_null ? "" : "(over a reply) ") +
         bytes_text(request.bytes);
}

struct Event {
  std::string mark, text;  // a trace's level and bar, and the text; a call has no mark
};

Event event_of(const std::string &call, size_t *request) {
  const std::string history = "sdwrap_hist_event ";
  if (call.starts_with(history)) {
    const size_t text = call.find(' ', history.size());
    return {call.substr(history.size(), text - history.size()) + "| ", escaped(call.substr(text + 1))};
  }
  if (call.starts_with("cmi_req_resp ") || call.starts_with("cmi_send_request "))
    return {"", call + " " + request_text(fake.requests.at((*request)++))};
  const size_t key = call.find("key="), value = call.find(" value=");
  if (key == std::string::npos) return {"", escaped(call)};
  const std::string stored = value == std::string::npos ? "" : " = " + bytes_text(unhex(call.substr(value + 7)));
  return {"", call.substr(0, key) + bytes_text(unhex(call.substr(key + 4, value - key - 4))) + stored};
}

bool is_gate(const std::string &call) {
  return call.starts_with("sdwrap_hist_event_subtype_check ") || call.starts_with("sdwrap_chk_int ") ||
         call.starts_with("buginf ");
}

// Events of one mark share a line.
class Lines {
 public:
  void add(const Event &event) {
    const bool fits = !lines_.empty() && event.mark == mark_ && lines_.back().size() + event.text.size() < widest;
    if (fits) lines_.back() += " ; " + event.text;
    if (!fits) lines_.push_back(event.mark + event.text);
    mark_ = event.mark;
  }
  std::string text() const {
    std::string all;
    for (const std::string &line : lines_)
      all += line + "\n";
    return all;
  }

 private:
  static constexpr size_t widest = 110;
  std::vector<std::string> lines_;
  std::string mark_;
};

std::string marked(const std::string &mark, const std::string &text) {
  return text.empty() ? "" : mark + "| " + escaped(text) + "\n";
}

std::string result_text(int result) {
  char text[16];
  std::snprintf(text, sizeof text, result < -1 || result > 0xffff ? "= 0x%x" : "= %d", result);
  return text;
}

}  // namespace

std::string bytes_text(const std::string &bytes) {
  std::string text;
  for (size_t at = 0; at < bytes.size();) {
    const auto start = bytes.begin() + static_cast<long>(at);
    const auto zeros =
        static_cast<size_t>(std::find_if(start, bytes.end(), [](char byte) { return byte != 0; }) - start);
    const auto letters = static_cast<size_t>(std::find_if_not(start, bytes.end(), is_letter) - start);
    const size_t run = std::max({zeros >= fewest_zeros ? zeros : 0, letters >= fewest_letters ? letters : 0});
    if (run == 0) text += hex(&bytes[at], 1);
    if (run != 0) text += zeros == run ? "(0 x " + std::to_string(run) + ")" : "'" + bytes.substr(at, run) + "'";
    at += std::max<size_t>(run, 1);
  }
  return text;
}

std::string journal(const std::function<int()> &body) {
  const size_t calls = fake.calls.size(), told = fake.buginf.size(), kept = fake.history.size();
  size_t request = fake.requests.size();
  int result = 0;
  fake.record_calls = fake.record_traces = true;
  const Output output = capture([&] { result = body(); });
  fake.record_traces = false;
  Lines lines;
  for (size_t i = calls; i < fake.calls.size(); ++i)
    if (!is_gate(fake.calls[i])) lines.add(event_of(fake.calls[i], &request));
  EXPECT_EQ(fake.buginf.size() - told, fake.history.size() - kept) << "a trace goes to both of its sinks";
  for (size_t i = 0; told + i < fake.buginf.size(); ++i)
    EXPECT_TRUE(fake.buginf[told + i].starts_with(fake.history[kept + i].text)) << fake.buginf[told + i];
  return lines.text() + marked("out", output.out) + marked("err", output.err) + result_text(result);
}

}  // namespace platform_test
