// SPDX-License-Identifier: Apache-2.0
#include "tests/cli/exchange.h"

#include <cstring>

#include "tests/cli/freed_blocks.h"

namespace cli_test {

Outcome run(const std::function<int()> &body) {
  Outcome outcome;
  const size_t sent_before = fake.requests.size();
  int freed = 0;
  const auto output = platform_test::capture([&] {
    const int freed_before = freed_blocks();
    outcome.result = body();
    freed = freed_blocks() - freed_before;
  });
  outcome.out = output.out;
  outcome.err = output.err;
  outcome.freed = freed;
  for (size_t i = sent_before; i < fake.requests.size(); ++i)
    outcome.requests.push_back(platform_test::hex(fake.requests[i].bytes.data(), fake.requests[i].bytes.size()));
  return outcome;
}

Outcome run(Handler handler, Context &context) {
  return run([&] { return handler(context.get()); });
}

bool refused(const Outcome &outcome, int result, const std::string &err, const std::string &out) {
  return outcome.result == result && outcome.err == err && outcome.out == out && outcome.requests.empty();
}

Record::Record(uint32_t opcode, uint32_t payload_length) : bytes_(8 + payload_length, '\0') {
  word(0, opcode).word(4, payload_length);
}

Record &Record::word(size_t offset, uint32_t value) {
  std::memcpy(bytes_.data() + offset, &value, sizeof value);
  return *this;
}

Record &Record::network_word(size_t offset, uint32_t value) {
  for (int i = 0; i < 4; ++i)
    bytes_.at(offset + static_cast<size_t>(i)) = static_cast<char>(value >> (24 - 8 * i));
  return *this;
}

Record &Record::byte(size_t offset, uint8_t value) {
  bytes_.at(offset) = static_cast<char>(value);
  return *this;
}

Record &Record::text(size_t offset, const std::string &value) {
  bytes_.replace(offset, value.size(), value);
  return *this;
}

std::string Record::hex() const {
  return platform_test::hex(bytes_.data(), bytes_.size());
}

std::string status_line(const std::string &what, uint32_t status) {
  return what + ": " + platform_test::error_text(status) + "\n";
}

std::ostream &operator<<(std::ostream &out, const Outcome &outcome) {
  out << "result " << outcome.result << " out \"" << outcome.out << "\" err \"" << outcome.err << "\" freed "
      << outcome.freed;
  for (const std::string &request : outcome.requests)
    out << "\n  " << request;
  return out;
}

}  // namespace cli_test
