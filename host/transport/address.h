// SPDX-License-Identifier: Apache-2.0
// The address of the service's socket, for paths of any length.
#pragma once

#include <sys/socket.h>
#include <sys/un.h>

#include <optional>
#include <string>

#include "host/files/file_descriptor.h"

namespace host {

// A path that is too long for a socket address is named by /proc/self/fd and its directory, which is kept open.
struct SocketAddress {
  sockaddr_un name = {};
  FileDescriptor directory;

  const sockaddr *get() const { return reinterpret_cast<const sockaddr *>(&name); }
  static constexpr socklen_t size() { return sizeof(sockaddr_un); }
};

// Empty on failure, with errno set.
std::optional<SocketAddress> socket_address(const std::string &path);

// Both ends must accept a whole frame at once, whatever the system's default buffer size is.
void size_socket_buffer(int socket);

}  // namespace host
