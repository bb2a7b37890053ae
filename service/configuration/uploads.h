// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <ctime>
#include <map>
#include <string>
#include <string_view>

#include "host/result.h"

namespace service {

// Texts that clients send in several requests. Each belongs to one user.
class Uploads {
 public:
  static constexpr size_t bytes_limit = 32 << 20;  // of all together: two full job tables
  static constexpr size_t count_limit = 16;
  static constexpr time_t idle_s = 60;  // after a longer pause the client is assumed to be gone

  // Adds a piece to the text of this id; id 0 begins a new one. Returns the text's id.
  host::Result<uint32_t> add(uint32_t id, uid_t uid, std::string_view piece, time_t now);
  host::Result<std::string> take(uint32_t id, uid_t uid);

 private:
  struct Upload {
    uid_t uid;
    time_t last;
    std::string text;
  };
  void forget_idle(time_t now);
  size_t bytes() const;

  std::map<uint32_t, Upload> uploads_;
  uint32_t last_id_ = 0;
};

}  // namespace service
