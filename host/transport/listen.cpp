// SPDX-License-Identifier: Apache-2.0
#include "host/transport/listen.h"

#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "host/files/directory.h"
#include "host/status.h"
#include "host/transport/address.h"

namespace host {

namespace {

constexpr mode_t for_every_user = 0666;
constexpr mode_t for_its_owner = 0600;

Error failed(const std::string &what, const std::string &path, const std::string &advice) {
  return {err_io, "cannot " + what + " the socket " + path + ": " + std::strerror(errno) + "; " + advice};
}

bool remove_left_over_socket(const std::string &path) {
  struct stat info = {};
  if (::lstat(path.c_str(), &info) != 0) return errno == ENOENT;
  if (S_ISSOCK(info.st_mode)) return ::unlink(path.c_str()) == 0;
  errno = EEXIST;
  return false;
}

// The umask keeps everybody from connecting between bind and chmod.
int bind_privately(int socket, const SocketAddress &address) {
  const mode_t mask = ::umask(0777);
  const int result = ::bind(socket, address.get(), SocketAddress::size());
  const int saved = errno;
  ::umask(mask);
  errno = saved;
  return result;
}

// Other users can connect only if they may enter the directories above the socket.
bool open_the_way_to(const std::string &path) {
  const std::string directory = parent_directory(path);
  struct stat info = {};
  if (stat(directory.c_str(), &info) != 0) return false;
  constexpr mode_t pass = S_IXUSR | S_IXGRP | S_IXOTH;
  return (info.st_mode & pass) == pass || chmod(directory.c_str(), (info.st_mode & 07777) | pass) == 0;
}

}  // namespace

Result<FileDescriptor> listen_on(const std::string &path, bool every_user) {
  if (!remove_left_over_socket(path)) return failed("replace", path, "remove what is there");
  const std::optional<SocketAddress> address = socket_address(path);
  if (!address) return failed("reach", path, "see that its directory exists");
  FileDescriptor socket(::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  if (!socket) return failed("make", path, "see the limit of open files");
  if (bind_privately(socket.get(), *address) != 0)
    return failed("bind", path, "see that its directory exists and can be written");
  if (::listen(socket.get(), SOMAXCONN) != 0) return failed("listen on", path, "see the system log");
  if (::chmod(path.c_str(), every_user ? for_every_user : for_its_owner) != 0)
    return failed("open", path, "see who owns its directory");
  if (every_user && !open_the_way_to(path)) return failed("open the way to", path, "see who owns its directory");
  return socket;
}

}  // namespace host
