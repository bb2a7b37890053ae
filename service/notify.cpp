// SPDX-License-Identifier: Apache-2.0
#include "service/notify.h"

#include <sys/socket.h>
#include <sys/un.h>

#include <cstddef>
#include <cstdlib>
#include <cstring>

#include "host/files/file_descriptor.h"

namespace service {

void notify_supervisor(const char *state) {
  const char *path = std::getenv("NOTIFY_SOCKET");
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  if (path == nullptr || std::strlen(path) < 2 || std::strlen(path) >= sizeof address.sun_path) return;
  std::memcpy(address.sun_path, path, std::strlen(path));
  if (path[0] == '@') address.sun_path[0] = '\0';  // an abstract socket
  const host::FileDescriptor socket(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  const auto length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + std::strlen(path));
  (void)sendto(socket.get(), state, std::strlen(state), MSG_NOSIGNAL, reinterpret_cast<const sockaddr *>(&address),
               length);
}

}  // namespace service
