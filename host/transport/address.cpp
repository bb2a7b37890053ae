// SPDX-License-Identifier: Apache-2.0
#include "host/transport/address.h"

#include <fcntl.h>

#include <cerrno>
#include <cstring>

#include "host/transport/transport.h"

namespace host {

std::optional<SocketAddress> socket_address(const std::string &path) {
  SocketAddress address;
  address.name.sun_family = AF_UNIX;
  std::string text = path;
  if (text.size() >= sizeof address.name.sun_path) {
    const std::size_t slash = path.rfind('/');
    const std::string folder = slash == std::string::npos ? "." : path.substr(0, slash + 1);
    address.directory = FileDescriptor(::open(folder.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    if (!address.directory) return std::nullopt;
    text = "/proc/self/fd/" + std::to_string(address.directory.get()) + "/" + path.substr(slash + 1);
  }
  if (text.size() >= sizeof address.name.sun_path) {
    errno = ENAMETOOLONG;
    return std::nullopt;
  }
  std::memcpy(address.name.sun_path, text.c_str(), text.size() + 1);
  return address;
}

void size_socket_buffer(int socket) {
  const int bytes = 2 * static_cast<int>(frame_limit);
  // If the kernel refuses, the default remains, which is enough on an ordinary system.
  (void)::setsockopt(socket, SOL_SOCKET, SO_SNDBUF, &bytes, sizeof bytes);
}

}  // namespace host
