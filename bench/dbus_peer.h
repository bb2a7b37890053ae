// SPDX-License-Identifier: Apache-2.0
// A request and its reply through a message bus of our own: daemon, service and client are three processes, as there.
#pragma once

#include <dbus/dbus.h>
#include <sys/types.h>

#include <cstddef>
#include <string>

namespace bench {

class DBusPeer {
 public:
  DBusPeer(const std::string &directory, std::size_t reply_size);
  ~DBusPeer();
  DBusPeer(const DBusPeer &) = delete;
  DBusPeer &operator=(const DBusPeer &) = delete;
  void ask(std::size_t request_size) const;

 private:
  pid_t daemon_ = 0, service_ = 0;
  DBusConnection *connection_ = nullptr;
  std::size_t reply_size_;
};

}  // namespace bench
