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

// Texts that come in more than one request, until they are taken. Each is one user's.
class Uploads {
 public:
  static constexpr size_t bytes_limit = 32 << 20;  // of all together: two full job tables
  static constexpr size_t count_limit = 16;
  static constexpr time_t idle_s = 60;  // whoever pauses longer has gone

  // id 0: a new one. The id of the text so far.
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
