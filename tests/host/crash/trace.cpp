// SPDX-License-Identifier: Apache-2.0
#include "tests/host/crash/trace.h"

#include <cstring>
#include <fstream>
#include <iterator>

namespace crash {
namespace {

class Reader {
 public:
  explicit Reader(const std::string &text) : text_(text) {}
  bool at_end() const { return at_ == text_.size(); }

  template <typename Number>
  Number number() {
    Number value;
    memcpy(&value, text_.data() + at_, sizeof value);
    at_ += sizeof value;
    return value;
  }
  std::string bytes() {
    const auto size = number<uint32_t>();
    at_ += size;
    return text_.substr(at_ - size, size);
  }

 private:
  const std::string &text_;
  std::size_t at_ = 0;
};

}  // namespace

std::vector<Event> read_trace(const std::string &path) {
  std::ifstream file(path, std::ios::binary);
  const std::string text{std::istreambuf_iterator<char>(file), {}};
  std::vector<Event> events;
  for (Reader reader(text); !reader.at_end();) {
    Event event{static_cast<Call>(reader.number<uint64_t>())};
    event.descriptor = static_cast<int>(reader.number<uint64_t>());
    event.offset = reader.number<uint64_t>();
    const auto flags = reader.number<uint64_t>();
    event.durable = (flags & 1) != 0;
    event.creates = (flags & 2) != 0;
    event.truncates = (flags & 4) != 0;
    event.directory = (flags & 8) != 0;
    event.name = reader.bytes();
    event.new_name = reader.bytes();
    event.data = reader.bytes();
    events.push_back(std::move(event));
  }
  return events;
}

}  // namespace crash
