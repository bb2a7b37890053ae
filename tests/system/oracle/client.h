// SPDX-License-Identifier: Apache-2.0
// A client of the service that can leave requests under way, and survives the service.
#pragma once

#include <cstring>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "control/operations.h"
#include "host/files/file_descriptor.h"
#include "schedcli_requests.h"

namespace oracle {

struct Reply {
  uint32_t status = 0;
  std::vector<std::string> pieces;
  std::string text() const;
};

template <typename Record>
std::string bytes_of(const Record &record) {
  return {reinterpret_cast<const char *>(&record), sizeof record};
}

template <typename Record>
Record record_of(const std::string &bytes) {
  Record record = {};
  std::memcpy(&record, bytes.data(), std::min(bytes.size(), sizeof record));
  return record;
}

class Client {
 public:
  explicit Client(const std::string &socket_path);
  Client(const Client &) = delete;
  Client &operator=(const Client &) = delete;

  bool send(uint32_t service, uint32_t message_class, std::string_view body);  // false: the service has gone
  bool has_answer() const;                                                     // or the service has gone
  std::optional<Reply> receive();  // of the oldest request that has no reply yet; nothing: the service has gone

  bool ask(uint32_t service, uint32_t number, std::string_view payload);  // an opcode, or an operation of the control
  bool send_config(uint32_t opcode, std::string_view payload);
  bool send_control(control::Operation operation, std::string_view payload);
  std::optional<Reply> show(uint32_t opcode, int32_t cursor = SCH_CURSOR_FIRST);
  std::optional<Reply> control(control::Operation operation, std::string_view payload);

 private:
  bool receive_packet();

  host::FileDescriptor socket_;
  std::string packet_;
  std::span<const std::byte> rest_;  // of the packet
};

}  // namespace oracle
